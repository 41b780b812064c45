#include "ResourceLimits.h"

#include <algorithm>
#include <csignal>

#include <sys/prctl.h>
#include <sys/time.h>

namespace Korvel::Worker {

namespace {

/** Sets how signals are handled, whatever was inherited. */
void SetSignals()
{
    // A write that fails says more than a process that died. The others are sent to all processes
    // by terminals and batch systems; whoever started this one ends it.
    for (const int signal : {SIGPIPE, SIGXFSZ, SIGTERM, SIGINT, SIGHUP, SIGUSR1, SIGUSR2})
        std::signal(signal, SIG_IGN);
    std::signal(SIGXCPU, SIG_DFL);
    sigset_t none = {};
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

} // namespace

void RestrictProcess()
{
    prctl(PR_SET_DUMPABLE, 0);
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    LowerLimit(RLIMIT_CORE, 0);
    SetSignals();
}

bool HasNoNewPrivileges()
{
    return prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0) == 1;
}

bool LeavesNoCore()
{
    rlimit limit = {};
    return prctl(PR_GET_DUMPABLE) == 0 && getrlimit(RLIMIT_CORE, &limit) == 0 &&
           limit.rlim_cur == 0;
}

bool LowerLimit(__rlimit_resource_t resource, rlim_t value)
{
    rlimit limit = {};
    getrlimit(resource, &limit);
    limit.rlim_max = std::min(limit.rlim_max, value);
    limit.rlim_cur = std::min(limit.rlim_cur, value);
    return setrlimit(resource, &limit) == 0;
}

bool LimitProcessorTime(int seconds)
{
    rusage used = {};
    rlimit limit = {};
    getrusage(RUSAGE_SELF, &used);
    getrlimit(RLIMIT_CPU, &limit);
    timeval sum = {};
    timeradd(&used.ru_utime, &used.ru_stime, &sum); // their fractions may come to a second
    limit.rlim_cur = std::min(limit.rlim_max, rlim_t(sum.tv_sec + seconds + 1));
    return setrlimit(RLIMIT_CPU, &limit) == 0;
}

} // namespace Korvel::Worker
