#include "ForkServer.h"

#include <csignal>

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
        ::sigaddset(&signals, SIGCHLD);
        ::sigprocmask(SIG_BLOCK, &signals, &before);
    }

    int Wait() const
    {
        int signal = 0;
        ::sigwait(&signals, &signal);
        return signal;
    }

    void Unblock() const { ::sigprocmask(SIG_SETMASK, &before, nullptr); }

private:
    sigset_t signals = {};
    sigset_t before = {};
};

/** How the child has ended. */
int StatusOf(pid_t child, const BlockedSignals& signals)
{
    int status = 0;
    while (::waitpid(child, &status, WNOHANG) == 0) {
        if (signals.Wait() == SIGTERM)
            ::kill(child, SIGKILL);
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

void ForkForEachDocument()
{
    const pid_t server = ::getpid();
    const BlockedSignals signals;
    for (;;) {
        const pid_t child = ::fork();
        if (child < 0)
            ::_exit(1);
        if (child == 0) {
            BeChildOf(server);
            signals.Unblock();
            return;
        }
        const int status = StatusOf(child, signals);
        if (!WIFEXITED(status) || WEXITSTATUS(status) != releasedExitCode) {
            signals.Unblock();
            EndLike(status);
        }
    }
}

} // namespace Korvel::Worker
