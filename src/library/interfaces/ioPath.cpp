#include "ioPath.h"

#include <ostream>

#include <unistd.h>

namespace Korvel {

ioPath::ioPath(const std::string& utf8) : text(utf8) {}

ioPath& ioPath::operator=(const char* utf8)
{
    text = utf8 ? utf8 : "";
    return *this;
}

std::string ioPath::utf8string() const
{
    return text;
}

bool ioPath::remove(const ioPath& path)
{
    // Behind a NUL the system would see the path of another file.
    if (path.text.find('\0') != std::string::npos)
        return false;
    return ::unlink(path.text.c_str()) == 0;
}

std::ostream& operator<<(std::ostream& stream, const ioPath& path)
{
    return stream << path.text;
}

} // namespace Korvel
