#include "Option.h"

namespace Korvel::App {

std::string Joined(const std::vector<std::string>& words, const std::string& separator)
{
    std::string joined;
    for (const std::string& word : words)
        joined += (joined.empty() ? "" : separator) + word;
    return joined;
}

} // namespace Korvel::App
