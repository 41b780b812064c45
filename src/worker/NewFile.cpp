#include "NewFile.h"

#include "Failure.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace Korvel::Worker {

namespace {

constexpr std::size_t bufferSize = 1 << 20;

} // namespace

NewFile::NewFile(const std::string& path, mode_t mode) : path(path)
{
    if (path.find('\0') != std::string::npos)
        throw Failure("cannot-write", "the path holds a NUL");
    const int file =
        ::open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_NOFOLLOW | O_CLOEXEC, mode);
    if (file < 0)
        throw Failure("cannot-write", std::strerror(errno));
    stream = ::fdopen(file, "wb");
    std::setvbuf(stream, nullptr, _IOFBF, bufferSize);
}

NewFile::~NewFile()
{
    if (stream)
        std::fclose(stream);
    if (!kept)
        ::unlink(path.c_str());
}

void NewFile::Keep()
{
    const bool whole =
        std::ferror(stream) == 0 && std::fflush(stream) == 0 && std::ftell(stream) > 0;
    const bool closed = std::fclose(stream) == 0;
    stream = nullptr;
    if (!whole || !closed)
        throw Failure("cannot-write", std::strerror(errno));
    kept = true;
}

} // namespace Korvel::Worker
