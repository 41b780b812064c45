#include "MappedFile.h"

#include "FileDescriptor.h"
#include "PathText.h"
#include "RequestError.h"

#include <cerrno>
#include <cstring>
#include <new>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace Korvel::Worker {

namespace {

[[noreturn]] void FailAsUnreadable()
{
    throw RequestError(Reason::Unreadable, std::strerror(errno));
}

PDF::FileDescriptor OpenForReading(const std::string& path)
{
    if (HoldsNul(path))
        throw RequestError(Reason::Unreadable, "the path holds a NUL");
    // Without waiting: a FIFO would block until somebody writes to it.
    PDF::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file)
        FailAsUnreadable();
    return file;
}

} // namespace

MappedFile::MappedFile(const std::string& path)
{
    const PDF::FileDescriptor file = OpenForReading(path);
    if (::fstat(file.Number(), &status) != 0)
        FailAsUnreadable();
    if (!S_ISREG(status.st_mode))
        throw RequestError(Reason::Unreadable, "not a regular file");
    size = static_cast<std::size_t>(status.st_size);
    if (size == 0)
        throw RequestError(Reason::Empty, "the file is empty");
    void* const mapped = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file.Number(), 0);
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
