#include "PrintedPaths.h"

#include "ioPath.h"

#include <ostream>

namespace {

int count = 0;

} // namespace

namespace Korvel {

std::ostream& operator<<(std::ostream& stream, const ioPath& path)
{
    ++count;
    return stream << path.utf8string();
}

int PDF::Test::PrintedPaths()
{
    return count;
}

} // namespace Korvel
