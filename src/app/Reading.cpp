#include "Reading.h"

#include "Failure.h"
#include "Interruption.h"

#include <cerrno>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace Korvel::App {

namespace {

[[noreturn]] void ThrowLastError()
{
    throw std::system_error(errno, std::generic_category());
}

} // namespace

std::size_t ReadSome(int descriptor, char* bytes, std::size_t count,
                     const Interruption& interruption)
{
    while (true) {
        pollfd waits[] = {{descriptor, POLLIN, 0}, {interruption.Descriptor(), POLLIN, 0}};
        if (::poll(waits, 2, -1) < 0 && errno != EINTR)
            ThrowLastError();
        interruption.Check();
        if (waits[0].revents == 0)
            continue;
        const ssize_t done = ::read(descriptor, bytes, count);
        if (done >= 0)
            return std::size_t(done);
        if (errno != EINTR && errno != EAGAIN)
            ThrowLastError();
    }
}

std::string ReadAll(int descriptor, const Interruption& interruption)
{
    std::string all;
    std::vector<char> block(1 << 16);
    while (const std::size_t count = ReadSome(descriptor, block.data(), block.size(), interruption))
        all.append(block.data(), count);
    return all;
}

std::string ReadAll(const std::string& file, const Interruption& interruption)
{
    if (file == "-")
        return ReadAll(STDIN_FILENO, interruption);
    const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        ThrowLastError();
    try {
        std::string all = ReadAll(descriptor, interruption);
        ::close(descriptor);
        return all;
    } catch (...) {
        ::close(descriptor);
        throw;
    }
}

} // namespace Korvel::App
