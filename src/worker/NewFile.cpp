#include "NewFile.h"

#include "FileDescriptor.h"
#include "PathText.h"
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

PDF::FileDescriptor MakeFile(const std::string& path, mode_t mode)
{
    if (HoldsNul(path))
        throw RequestError(Reason::CannotWrite, "the path holds a NUL");
    PDF::FileDescriptor file(
        ::open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_NOFOLLOW | O_CLOEXEC, mode));
    if (!file)
        FailToWrite(errno);
    return file;
}

} // namespace

NewFile::NewFile(const std::string& path, mode_t mode) : path(path)
{
    PDF::FileDescriptor file = MakeFile(path, mode);
    stream = ::fdopen(file.Number(), "wb");
    if (!stream) {
        const int error = errno;
        ::unlink(path.c_str());
        FailToWrite(error);
    }
    file.Release(); // the stream closes it
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
    // A lock would cost more than the writing: libqpdf writes a few bytes at a time.
    if (::fwrite_unlocked(data, 1, size, stream) != size)
        FailToWrite(errno);
}

void NewFile::Keep()
{
    if (std::fflush(stream) != 0)
        FailToWrite(errno);
    // An earlier failure counts even if somebody on the way has taken it for harmless.
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
