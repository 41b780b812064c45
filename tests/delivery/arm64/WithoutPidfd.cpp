// Qemu knows processes' descriptors, but not how to make a process with one, so that Qt, which asks
// for the former alone, could start none. Loaded before all other libraries, this answers as a
// system does that knows neither; Qt then waits for its processes by SIGCHLD.

#include <cerrno>
#include <cstdarg>

#include <sys/syscall.h>
#include <sys/wait.h>

extern "C" long syscall(long number, ...)
{
    constexpr int mostArguments = 6;
    long arguments[mostArguments];
    va_list list;
    va_start(list, number);
    for (long& argument : arguments)
        argument = va_arg(list, long);
    va_end(list);

    if (number == SYS_waitid && arguments[0] == P_PIDFD) {
        errno = ENOSYS;
        return -1;
    }
    register long call asm("x8") = number;
    register long first asm("x0") = arguments[0];
    register long second asm("x1") = arguments[1];
    register long third asm("x2") = arguments[2];
    register long fourth asm("x3") = arguments[3];
    register long fifth asm("x4") = arguments[4];
    register long sixth asm("x5") = arguments[5];
    asm volatile("svc 0"
                 : "+r"(first)
                 : "r"(call), "r"(second), "r"(third), "r"(fourth), "r"(fifth), "r"(sixth)
                 : "memory", "cc");
    constexpr long lastError = -4095;
    if (first < 0 && first >= lastError) {
        errno = int(-first);
        return -1;
    }
    return first;
}
