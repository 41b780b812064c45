#include "WriteAll.h"

#include <cerrno>

#include <unistd.h>

namespace Korvel::Worker {

bool WriteAll(int file, const void* data, std::size_t size)
{
    const char* rest = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t written = ::write(file, rest, size);
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return false;
        rest += written;
        size -= std::size_t(written);
    }
    return true;
}

} // namespace Korvel::Worker
