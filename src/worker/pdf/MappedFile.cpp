#include "MappedFile.h"

#include "RequestError.h"

#include <cerrno>
#include <cstring>
#include <new>

#include <QScopeGuard>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace Korvel::Worker {

namespace {

[[noreturn]] void FailAsUnreadable()
{
    throw RequestError("unreadable", std::strerror(errno));
}

int OpenForReading(const std::string& path)
{
    if (path.find('\0') != std::string::npos)
        throw RequestError("unreadable", "the path holds a NUL");
    // Without waiting: a FIFO would block until somebody writes to it.
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (file < 0)
        FailAsUnreadable();
    return file;
}

} // namespace

MappedFile::MappedFile(const std::string& path)
{
    const int file = OpenForReading(path);
    const auto closing = qScopeGuard([file] { ::close(file); });
    if (::fstat(file, &status) != 0)
        FailAsUnreadable();
    if (!S_ISREG(status.st_mode))
        throw RequestError("unreadable", "not a regular file");
    size = static_cast<std::size_t>(status.st_size);
    if (size == 0)
        throw RequestError("empty", "the file is empty");
    void* const mapped = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
    if (mapped == MAP_FAILED && errno == ENOMEM)
        throw std::bad_alloc();
    if (mapped == MAP_FAILED)
        FailAsUnreadable();
    data = static_cast<const char*>(mapped);
    ExpectShortening(path, status.st_size);
}

MappedFile::~MappedFile()
{
    ::munmap(const_cast<char*>(data), size);
}

} // namespace Korvel::Worker
