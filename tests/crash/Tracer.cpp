#include "Tracer.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <exception>
#include <fstream>
#include <map>
#include <stdexcept>
#include <vector>

#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Korvel::Failing {

namespace {

constexpr unsigned longestTrace = 60;

/** Answered as done, and not made. */
constexpr int pretended = -2;

/** A call that is being skipped, and what it is to answer. */
struct Skipped
{
    user_regs_struct registers;
    int error;
};

pid_t ProcessOf(pid_t thread)
{
    std::ifstream status("/proc/" + std::to_string(thread) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("Tgid:", 0) == 0)
            return pid_t(std::stol(line.substr(5)));
    }
    return thread;
}

/** The processes of one call of Trace. */
class Tracer
{
public:
    Tracer(const std::function<int(const Call&)>& judge, const Answered& answered)
        : judge(judge), answered(answered)
    {
    }

    TracedEnd Follow(pid_t first);

private:
    void KillAll();
    void Stopped(pid_t thread, int status);
    void Seen(pid_t thread);
    void AtCall(pid_t thread);
    void BeforeCall(pid_t thread, const __ptrace_syscall_info& info);
    int VerdictOn(const Call& call) const;
    void Skip(pid_t thread, int error);
    void Answer(pid_t thread, const Skipped& call);

    const std::function<int(const Call&)>& judge;
    const Answered& answered;
    std::map<pid_t, Call> made;       ///< by thread, while it waits for the answer
    std::map<pid_t, pid_t> processes; ///< by thread
    std::vector<pid_t> order;
    std::map<pid_t, Skipped> skipped;
};

/** Lets waitpid return when a trace takes too long. */
class Alarm
{
public:
    Alarm()
    {
        struct sigaction action = {};
        action.sa_handler = [](int) {
        };
        ::sigaction(SIGALRM, &action, &before);
        ::alarm(longestTrace);
    }

    ~Alarm()
    {
        ::alarm(0);
        ::sigaction(SIGALRM, &before, nullptr);
    }

    Alarm(const Alarm&) = delete;
    Alarm& operator=(const Alarm&) = delete;

private:
    struct sigaction before = {};
};

TracedEnd Tracer::Follow(pid_t first)
{
    const Alarm alarm;
    TracedEnd end;
    while (true) {
        int status = 0;
        const pid_t thread = ::waitpid(-1, &status, __WALL);
        if (thread < 0 && errno == ECHILD)
            return end;
        if (thread < 0) {
            end.hung = true;
            KillAll();
        } else if (WIFSTOPPED(status)) {
            Stopped(thread, status);
        } else {
            processes.erase(thread);
            if (thread == first)
                end.code = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
        }
    }
}

void Tracer::KillAll()
{
    for (const pid_t process : order)
        ::kill(process, SIGKILL);
}

void Tracer::Stopped(pid_t thread, int status)
{
    int signal = WSTOPSIG(status);
    if (processes.count(thread) == 0) {
        Seen(thread); // it begins with a stop of its own
        signal = 0;
    } else if (signal == (SIGTRAP | 0x80)) {
        AtCall(thread);
        signal = 0;
    } else if (status >> 16 != 0) { // it has started a thread, a process or a program
        signal = 0;
    }
    ::ptrace(PTRACE_SYSCALL, thread, nullptr, signal);
}

void Tracer::Seen(pid_t thread)
{
    const pid_t process = ProcessOf(thread);
    processes[thread] = process;
    if (std::find(order.begin(), order.end(), process) == order.end())
        order.push_back(process);
    if (order.size() == 1)
        ::ptrace(PTRACE_SETOPTIONS, thread, nullptr,
                 PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK |
                     PTRACE_O_TRACECLONE | PTRACE_O_TRACEEXEC | PTRACE_O_EXITKILL);
}

void Tracer::AtCall(pid_t thread)
{
    const auto call = skipped.find(thread);
    if (call != skipped.end()) {
        Answer(thread, call->second);
        skipped.erase(call);
        return;
    }
    __ptrace_syscall_info info = {};
    if (::ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof info, &info) < 0)
        return;
    if (info.op == PTRACE_SYSCALL_INFO_ENTRY)
        BeforeCall(thread, info);
    else if (const auto done = made.extract(thread); done && info.op == PTRACE_SYSCALL_INFO_EXIT)
        answered(done.mapped(), long(info.exit.rval));
}

void Tracer::BeforeCall(pid_t thread, const __ptrace_syscall_info& info)
{
    const pid_t process = processes[thread];
    Call call = {int(std::find(order.begin(), order.end(), process) - order.begin()),
                 thread,
                 long(info.entry.nr),
                 {}};
    std::copy_n(info.entry.args, call.arguments.size(), call.arguments.begin());
    const int verdict = VerdictOn(call);
    if (verdict == Verdict::Kill)
        ::kill(process, SIGKILL);
    else if (verdict != Verdict::Go)
        Skip(thread, verdict == pretended ? 0 : verdict);
    else if (answered)
        made[thread] = call;
}

int Tracer::VerdictOn(const Call& call) const
{
    const int verdict = judge(call);
    // It would hide the process's memory and descriptors from a tracer who is not root.
    const bool hides = call.number == SYS_prctl && call.arguments[0] == PR_SET_DUMPABLE;
    return verdict == Verdict::Go && hides ? pretended : verdict;
}

/** Lets it make a call in its place that no sandbox forbids, and that does nothing. */
void Tracer::Skip(pid_t thread, int error)
{
    user_regs_struct registers = {};
    ::ptrace(PTRACE_GETREGS, thread, nullptr, &registers);
    skipped[thread] = {registers, error};
    if (registers.orig_rax == SYS_close) // closes, whatever it answers
        return;
    registers.orig_rax = SYS_read;
    registers.rdi = ~0ULL;
    ::ptrace(PTRACE_SETREGS, thread, nullptr, &registers);
}

void Tracer::Answer(pid_t thread, const Skipped& call)
{
    user_regs_struct registers = call.registers;
    registers.rax = std::uint64_t(-std::int64_t(call.error));
    ::ptrace(PTRACE_SETREGS, thread, nullptr, &registers);
}

[[noreturn]] void RunTraced(const std::function<int()>& work)
{
    ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    ::raise(SIGSTOP);
    try {
        ::_exit(work());
    } catch (const std::exception&) {
        ::_exit(255);
    }
}

} // namespace

bool CanTrace()
{
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0 ? 0 : 1);
    int status = 0;
    ::waitpid(child, &status, 0);
    return status == 0;
}

TracedEnd Trace(const std::function<int()>& work, const std::function<int(const Call&)>& judge,
                const Answered& answered)
{
    const pid_t first = ::fork();
    if (first < 0)
        throw std::runtime_error("cannot fork");
    if (first == 0)
        RunTraced(work);
    return Tracer(judge, answered).Follow(first);
}

} // namespace Korvel::Failing
