#include "Streams.h"

#include "FileDescriptor.h"
#include "Interruption.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <optional>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace Korvel::App {

namespace {

[[noreturn]] void ThrowLastError()
{
    throw std::system_error(PDF::LastError());
}

constexpr std::size_t blockSize = 1 << 16;

/** The descriptor of a file, which `opened` owns; that of standard input for "-". */
int Open(const std::string& file, std::optional<PDF::FileDescriptor>& opened)
{
    if (file == "-")
        return STDIN_FILENO;
    // A pipe is not waited for here, where no signal is heard.
    opened.emplace(::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!*opened)
        ThrowLastError();
    return opened->Number();
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
    std::vector<char> block(blockSize);
    while (const std::size_t count = ReadSome(descriptor, block.data(), block.size(), interruption))
        all.append(block.data(), count);
    return all;
}

void ReadBlocks(const std::string& file, const Interruption& interruption,
                const std::function<void(std::string_view)>& take)
{
    std::optional<PDF::FileDescriptor> opened;
    const int descriptor = Open(file, opened);
    std::vector<char> block(blockSize);
    while (const std::size_t count = ReadSome(descriptor, block.data(), block.size(), interruption))
        take({block.data(), count});
}

void ReadPieces(const std::string& file, char separator, const Interruption& interruption,
                const std::function<void(std::string_view)>& take)
{
    std::string rest;
    ReadBlocks(file, interruption, [&](std::string_view bytes) {
        for (auto end = bytes.find(separator); end != bytes.npos; end = bytes.find(separator)) {
            take(rest.append(bytes.substr(0, end)));
            rest.clear();
            bytes.remove_prefix(end + 1);
        }
        rest.append(bytes);
    });
    if (!rest.empty())
        take(rest);
}

std::string ReadAll(const std::string& file, const Interruption& interruption)
{
    std::optional<PDF::FileDescriptor> opened;
    return ReadAll(Open(file, opened), interruption);
}

bool WriteAll(int descriptor, const QByteArray& bytes, const Interruption& interruption)
{
    std::size_t written = 0;
    const auto size = std::size_t(bytes.size());
    while (written < size) {
        pollfd waits[] = {{descriptor, POLLOUT, 0}, {interruption.UrgentDescriptor(), POLLIN, 0}};
        if (::poll(waits, 2, -1) < 0 && errno != EINTR)
            return false;
        if (waits[1].revents != 0)
            return false;
        if (waits[0].revents == 0)
            continue;
        // No more than a pipe takes at once when it says that it takes something.
        const std::size_t most = std::min<std::size_t>(size - written, PIPE_BUF);
        const ssize_t done = ::write(descriptor, bytes.data() + written, most);
        if (done < 0 && errno != EINTR && errno != EAGAIN)
            return false;
        written += std::size_t(std::max<ssize_t>(done, 0));
    }
    return true;
}

void WriteAtOnce(int descriptor, const QByteArray& bytes)
{
    pollfd wait = {descriptor, POLLOUT, 0};
    if (::poll(&wait, 1, 0) > 0) {
        [[maybe_unused]] const ssize_t written =
            ::write(descriptor, bytes.data(), std::size_t(std::min(int(bytes.size()), PIPE_BUF)));
    }
}

} // namespace Korvel::App
