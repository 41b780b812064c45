#include "ForkServer.h"

#include "NotStarted.h"
#include "SendDescriptors.h"
#include "WorkerProtocol.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <optional>
#include <utility>
#include <vector>

#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Korvel::Worker {

namespace Given = WorkerProtocol::Given;

namespace {

struct Child
{
    pid_t process;
    PDF::FileDescriptor control;
    bool isKilled = false;
};

/** Children are told of while this waits for something else, and never between. */
class ChildSignal
{
public:
    ChildSignal()
    {
        std::signal(SIGCHLD, [](int) {}); // ignored by whoever started it, it would not come
        sigset_t signals = {};
        ::sigemptyset(&signals);
        ::sigaddset(&signals, SIGCHLD);
        ::sigprocmask(SIG_BLOCK, &signals, &before);
    }

    /** Waits for one of these, or for the end of a child. */
    void WaitFor(std::vector<pollfd>& watched) const
    {
        if (::ppoll(watched.data(), watched.size(), nullptr, &before) >= 0)
            return;
        if (errno != EINTR)
            EndAsNotStarted("there is no room to wait for orders");
        for (pollfd& one : watched)
            one.revents = 0;
    }

    void Restore() const
    {
        std::signal(SIGCHLD, SIG_DFL);
        ::sigprocmask(SIG_SETMASK, &before, nullptr);
    }

private:
    sigset_t before = {};
};

void Tell(const Child& child, int status)
{
    ::send(child.control.Number(), &status, sizeof status, MSG_NOSIGNAL | MSG_DONTWAIT);
}

class Children
{
public:
    explicit Children(int orders)
        : orders(orders), starter(int(::syscall(SYS_pidfd_open, ::getppid(), 0)))
    {
    }

    /** In a child the descriptor for answers; nothing in this process. */
    std::optional<int> Serve()
    {
        std::vector<pollfd> watched = Watched();
        signal.WaitFor(watched);
        // An order that came behind the end of another child finds that one killed: orders were
        // looked at first.
        for (std::size_t i = 0; i < children.size(); ++i) {
            if (watched[i + 2].revents != 0)
                Kill(children[i]);
        }
        Reap(WNOHANG);
        if (watched[1].revents != 0 || (watched[0].revents & POLLHUP) != 0)
            EndAll();
        return watched[0].revents != 0 ? TakeOrder() : std::nullopt;
    }

private:
    std::vector<pollfd> Watched() const
    {
        std::vector<pollfd> watched{{orders, POLLIN, 0}, {starter.Number(), POLLIN, 0}};
        for (const Child& child : children)
            watched.push_back({child.isKilled ? -1 : child.control.Number(), POLLIN, 0});
        return watched;
    }

    static void Kill(Child& child)
    {
        ::kill(child.process, SIGKILL);
        child.isKilled = true;
    }

    void Reap(int options)
    {
        int status = 0;
        for (pid_t ended = 0; (ended = ::waitpid(-1, &status, options)) > 0;) {
            std::vector<Child> others;
            for (Child& child : children) {
                if (child.process == ended)
                    Tell(child, status);
                else
                    others.push_back(std::move(child));
            }
            children.swap(others);
        }
    }

    [[noreturn]] void EndAll()
    {
        for (Child& child : children)
            Kill(child);
        Reap(0);
        ::_exit(0);
    }

    /** Forks, once more where there is no room before those are gone that were killed. */
    pid_t Fork()
    {
        const pid_t process = ::fork();
        if (process >= 0)
            return process;
        siginfo_t ended = {};
        for (const Child& child : children) {
            if (child.isKilled)
                ::waitid(P_PID, id_t(child.process), &ended, WEXITED | WNOWAIT);
        }
        Reap(WNOHANG);
        return ::fork();
    }

    std::optional<int> TakeOrder()
    {
        auto order = ReceiveDescriptors(orders);
        if (!order)
            EndAll(); // it is no such socket, or at its end
        if (order->descriptors.size() != Given::count)
            EndAsNotStarted("too few files may be open at once");
        std::vector<PDF::FileDescriptor>& given = order->descriptors;
        const pid_t server = ::getpid();
        Child child{Fork(), std::move(given[Given::control])};
        if (child.process == 0) {
            children.clear(); // closes what belongs to others
            return BecomeChild(server, given);
        }
        if (child.process > 0)
            children.push_back(std::move(child));
        else
            RefuseFor(child, given[Given::complaints].Number());
        return std::nullopt;
    }

    static void RefuseFor(const Child& child, int complaints)
    {
        ::dprintf(complaints, "cannot start: there is no room for another process\n");
        Tell(child, W_EXITCODE(WorkerProtocol::notStartedExitCode, 0));
    }

    int BecomeChild(pid_t server, std::vector<PDF::FileDescriptor>& given) const
    {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != server)
            ::_exit(1);
        signal.Restore();
        // Standard output is for what libraries print.
        if (::dup2(given[Given::complaints].Number(), STDERR_FILENO) < 0 ||
            ::dup2(given[Given::complaints].Number(), STDOUT_FILENO) < 0 ||
            ::dup2(given[Given::lines].Number(), STDIN_FILENO) < 0 ||
            ::dup2(given[Given::memory].Number(), orders) < 0)
            EndAsNotStarted("too few files may be open at once");
        return given[Given::lines].Release();
    }

    const int orders;
    const PDF::FileDescriptor starter;
    const ChildSignal signal;
    std::vector<Child> children;
};

} // namespace

int ForkForEachDocument(int orders)
{
    Children children(orders);
    for (;;) {
        if (const auto answers = children.Serve())
            return *answers;
    }
}

} // namespace Korvel::Worker
