#include "SystemCalls.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>

#include <cstdio>
#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Korvel::PDF::Test {

namespace {

std::atomic<SystemCalls*> calls = nullptr;

/** Whether `call` of the living SystemCalls is to fail. */
bool Fails(SystemCall SystemCalls::*call)
{
    SystemCalls* const living = calls;
    if (!living)
        return false;
    if (living->beforeEach)
        living->beforeEach(living->*call);
    return (living->*call).Fails();
}

} // namespace

void SystemCall::FailWith(int newError, int after)
{
    working = after;
    error = newError;
}

void SystemCall::FailOnceWith(int newError)
{
    once = true;
    error = newError;
}

bool SystemCall::Fails()
{
    if (error == 0 || working-- > 0)
        return false;
    ++failures;
    errno = once ? error.exchange(0) : error.load();
    return true;
}

SystemCalls::SystemCalls()
{
    calls = this;
}

SystemCalls::~SystemCalls()
{
    calls = nullptr;
}

} // namespace Korvel::PDF::Test

// The program's own definitions go before the C library's, for the libraries under test as well.

using Korvel::PDF::Test::calls;
using Korvel::PDF::Test::Fails;
using Korvel::PDF::Test::SystemCalls;

#define PUBLIC extern "C" __attribute__((visibility("default")))

PUBLIC int renameat2(int fromFolder, const char* from, int toFolder, const char* to,
                     unsigned int flags) noexcept
{
    if (Fails(&SystemCalls::renameWithoutReplacing))
        return -1;
    return int(::syscall(SYS_renameat2, fromFolder, from, toFolder, to, flags));
}

PUBLIC int open(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = flags & (O_CREAT | O_TMPFILE) ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if ((flags & O_TMPFILE) == O_TMPFILE && Fails(&SystemCalls::makeUnnamedFile))
        return -1;
    return int(::syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

PUBLIC int linkat(int fromFolder, const char* from, int toFolder, const char* to,
                  int flags) noexcept
{
    if (Fails(&SystemCalls::nameUnnamedFile))
        return -1;
    return int(::syscall(SYS_linkat, fromFolder, from, toFolder, to, flags));
}

PUBLIC int link(const char* from, const char* to) noexcept
{
    if (Fails(&SystemCalls::link))
        return -1;
    return int(::syscall(SYS_linkat, AT_FDCWD, from, AT_FDCWD, to, 0));
}

PUBLIC int unlink(const char* path) noexcept
{
    if (Fails(&SystemCalls::unlink))
        return -1;
    return int(::syscall(SYS_unlinkat, AT_FDCWD, path, 0));
}

PUBLIC ssize_t sendfile(int to, int from, off_t* offset, std::size_t count) noexcept
{
    if (Fails(&SystemCalls::copyBytes))
        return -1;
    const SystemCalls* const living = calls;
    if (living && living->longestCopy > 0)
        count = std::min(count, living->longestCopy.load());
    return ::syscall(SYS_sendfile, to, from, offset, count);
}

PUBLIC int fsync(int file)
{
    if (Fails(&SystemCalls::flush))
        return -1;
    return int(::syscall(SYS_fsync, file));
}

PUBLIC int fchmod(int file, mode_t mode) noexcept
{
    if (Fails(&SystemCalls::setMode))
        return -1;
    return int(::syscall(SYS_fchmod, file, mode));
}
