#pragma once

#include <cerrno>
#include <system_error>
#include <utility>

#include <unistd.h>

namespace Korvel::PDF {

/** Owns an open file descriptor, or none when the system answered -1. */
class FileDescriptor
{
public:
    explicit FileDescriptor(int number = -1) : number(number) {}
    FileDescriptor(FileDescriptor&& other) noexcept : number(other.Release()) {}
    FileDescriptor& operator=(FileDescriptor&&) = delete;
    ~FileDescriptor()
    {
        if (number >= 0)
            ::close(number);
    }

    explicit operator bool() const { return number >= 0; }

    int Number() const { return number; }

    /** Leaves the descriptor open, and to the caller. */
    int Release() { return std::exchange(number, -1); }

private:
    int number;
};

/** Why the last system call failed. */
inline std::error_code LastError()
{
    return {errno, std::generic_category()};
}

} // namespace Korvel::PDF
