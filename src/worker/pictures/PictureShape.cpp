#include "PictureShape.h"

#include "RequestError.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace Korvel::Worker {

int PictureShape::DotsPerMetre() const
{
    constexpr double mostDotsPerMetre = 1e9; // within an int
    return int(std::lround(std::min(dotsPerInch / metresPerInch, mostDotsPerMetre)));
}

void PictureShape::RequireSides(const char* format, int longest) const
{
    const int side = std::max(width, height);
    if (side <= longest)
        return;
    const auto fitting = long(std::floor(dotsPerInch * longest / side));
    throw RequestError(Reason::CannotRender,
                       "a " + std::string(format) + " has at most " + std::to_string(longest) +
                           " pixels a side, and the page would have " + std::to_string(side) +
                           "; it fits at " + std::to_string(fitting) + " dots per inch");
}

} // namespace Korvel::Worker
