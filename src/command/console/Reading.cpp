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

constexpr std::size_t blockSize = 1 << 16;

/** A file that is open as long as this lives; "-" is standard input, which stays open. */
struct OpenedFile
{
    explicit OpenedFile(const std::string& file)
        // A pipe is not waited for here, where no signal is heard.
        : descriptor(file == "-" ? STDIN_FILENO
                                 : ::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC))
    {
        if (descriptor < 0)
            ThrowLastError();
    }

    ~OpenedFile()
    {
        if (descriptor != STDIN_FILENO)
            ::close(descriptor);
    }

    OpenedFile(const OpenedFile&) = delete;
    OpenedFile& operator=(const OpenedFile&) = delete;

    const int descriptor;
};

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
    std::vector<char> block(blockSize);
    while (const std::size_t count = ReadSome(descriptor, block.data(), block.size(), interruption))
        all.append(block.data(), count);
    return all;
}

void ReadPieces(const std::string& file, char separator, const Interruption& interruption,
                const std::function<void(std::string_view)>& take)
{
    const OpenedFile opened(file);
    std::string rest;
    std::vector<char> block(blockSize);
    while (const std::size_t count =
               ReadSome(opened.descriptor, block.data(), block.size(), interruption)) {
        std::string_view bytes(block.data(), count);
        for (auto end = bytes.find(separator); end != bytes.npos; end = bytes.find(separator)) {
            take(rest.append(bytes.substr(0, end)));
            rest.clear();
            bytes.remove_prefix(end + 1);
        }
        rest.append(bytes);
    }
    if (!rest.empty())
        take(rest);
}

std::string ReadAll(const std::string& file, const Interruption& interruption)
{
    return ReadAll(OpenedFile(file).descriptor, interruption);
}

} // namespace Korvel::App
