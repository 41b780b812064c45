#include "NewFile.h"

#include "RequestError.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace Korvel::Worker {

namespace {

constexpr std::size_t bufferSize = 1 << 20;

[[noreturn]] void FailToWrite(int error)
{
    throw RequestError(Reason::CannotWrite, std::strerror(error));
}

int MakeFile(const std::string& path, mode_t mode)
{
    if (path.find('\0') != std::string::npos)
        throw RequestError(Reason::CannotWrite, "the path holds a NUL");
    const int file =
        ::open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_NOFOLLOW | O_CLOEXEC, mode);
    if (file < 0)
        FailToWrite(errno);
    return file;
}

} // namespace

NewFile::NewFile(const std::string& path, mode_t mode) : path(path)
{
    const int file = MakeFile(path, mode);
    stream = ::fdopen(file, "wb");
    if (!stream) {
        const int error = errno;
        ::close(file);
        ::unlink(path.c_str());
        FailToWrite(error);
    }
    std::setvbuf(stream, nullptr, _IOFBF, bufferSize);
}

NewFile::~NewFile()
{
    if (stream)
        std::fclose(stream);
    if (!kept)
        ::unlink(path.c_str());
}

void NewFile::Write(const char* data, std::size_t size)
{
    // Unlocked, as libqpdf writes a few bytes at a time.
    if (::fwrite_unlocked(data, 1, size, stream) != size)
        FailToWrite(errno);
}

void NewFile::Keep()
{
    if (std::fflush(stream) != 0)
        FailToWrite(errno);
    // An earlier failure counts even if somebody on the way has taken it for a mishap.
    if (std::ferror(stream))
        throw RequestError(Reason::CannotWrite, "something was not written");
    if (std::ftell(stream) <= 0)
        throw RequestError(Reason::CannotWrite, "nothing was written");
    const bool closed = std::fclose(std::exchange(stream, nullptr)) == 0;
    if (!closed)
        FailToWrite(errno);
    kept = true;
}

} // namespace Korvel::Worker
