#include "ForkServer.h"

#include "NotStarted.h"
#include "WorkerProtocol.h"

#include <csignal>
#include <cstdio>
#include <optional>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Korvel::Worker {

namespace {

class BlockedSignals
{
public:
    BlockedSignals()
    {
        std::signal(SIGCHLD, SIG_DFL); // ignored by whoever started it, it would not come
        ::sigemptyset(&signals);
        ::sigaddset(&signals, SIGTERM);
        ::sigaddset(&signals, SIGRTMIN);
        ::sigaddset(&signals, SIGCHLD);
        ::sigprocmask(SIG_BLOCK, &signals, &before);
    }

    siginfo_t Wait() const
    {
        siginfo_t info = {};
        while (::sigwaitinfo(&signals, &info) < 0) {
        }
        return info;
    }

    void Unblock() const { ::sigprocmask(SIG_SETMASK, &before, nullptr); }

private:
    sigset_t signals = {};
    sigset_t before = {};
};

int Kill(pid_t child)
{
    int status = 0;
    ::kill(child, SIGKILL);
    ::waitpid(child, &status, 0);
    return status;
}

/** How the child has ended; nothing when it was to be released, with the number given for that. */
std::optional<int> StatusOf(pid_t child, const BlockedSignals& signals, int& number)
{
    int status = 0;
    while (::waitpid(child, &status, WNOHANG) == 0) {
        const siginfo_t signal = signals.Wait();
        if (signal.si_pid != ::getppid())
            continue; // the child has ended, or somebody else has sent it
        if (signal.si_signo == SIGTERM)
            return Kill(child);
        if (signal.si_code == SI_QUEUE) {
            Kill(child);
            number = signal.si_value.sival_int;
            return std::nullopt;
        }
    }
    return status;
}

[[noreturn]] void EndLike(int status)
{
    if (WIFSIGNALED(status)) {
        std::signal(WTERMSIG(status), SIG_DFL);
        std::raise(WTERMSIG(status));
    }
    ::_exit(WEXITSTATUS(status));
}

void BeChildOf(pid_t server)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != server)
        ::_exit(1);
}

} // namespace

void ForkForEachDocument(int answers)
{
    const pid_t server = ::getpid();
    const BlockedSignals signals;
    for (;;) {
        const pid_t child = ::fork();
        if (child < 0)
            EndAsNotStarted("there is no room for another process");
        if (child == 0) {
            BeChildOf(server);
            signals.Unblock();
            return;
        }
        int number = 0;
        if (const auto status = StatusOf(child, signals, number)) {
            signals.Unblock();
            EndLike(*status);
        }
        // The child may have begun a line.
        if (::dprintf(answers, "\n{\"%s\":%d}\n", WorkerProtocol::Key::released, number) < 0)
            ::_exit(1); // whoever asked would wait for the line
    }
}

} // namespace Korvel::Worker
