#include "SeccompFilter.h"

#include "FileDescriptor.h"
#include "Sanitizers.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <memory>

#include <fcntl.h>
#include <linux/seccomp.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Korvel::Worker {

namespace {

constexpr bool canLimit = !IS_SANITIZED && sizeof(void*) == 8; // 32 bits have calls of other names

/** System calls on files; which files is not for a filter to say. */
constexpr int fileCalls[] = {SCMP_SYS(close),  SCMP_SYS(read),       SCMP_SYS(write),
                             SCMP_SYS(writev), SCMP_SYS(lseek),      SCMP_SYS(unlink),
                             SCMP_SYS(stat),   SCMP_SYS(lstat),      SCMP_SYS(fstat),
                             SCMP_SYS(statx),  SCMP_SYS(newfstatat), SCMP_SYS(getdents64)};

/** System calls on the process itself. */
constexpr int otherCalls[] = {SCMP_SYS(brk),
                              SCMP_SYS(munmap),
                              SCMP_SYS(mremap),
                              SCMP_SYS(madvise),
                              SCMP_SYS(futex),
                              SCMP_SYS(rt_sigprocmask),
                              SCMP_SYS(restart_syscall),
                              SCMP_SYS(getpid),
                              SCMP_SYS(getrusage),
                              SCMP_SYS(sysinfo),
                              SCMP_SYS(getrandom),
                              SCMP_SYS(clock_gettime),
                              SCMP_SYS(gettimeofday),
                              SCMP_SYS(time),
                              SCMP_SYS(exit),
                              SCMP_SYS(exit_group)};

/** What threads and Qt's libraries beyond Core take. */
constexpr int callsOfThreads[] = {SCMP_SYS(pread64),     SCMP_SYS(readv),
                                  SCMP_SYS(unlinkat),    SCMP_SYS(access),
                                  SCMP_SYS(faccessat),   SCMP_SYS(getcwd),
                                  SCMP_SYS(readlink),    SCMP_SYS(readlinkat),
                                  SCMP_SYS(sched_yield), SCMP_SYS(sched_getaffinity),
                                  SCMP_SYS(gettid)};

/** The bits of a file's mode that let it be run, by whomever and as whomever. */
constexpr scmp_datum_t toRun = S_IXUSR | S_IXGRP | S_IXOTH | S_ISUID | S_ISGID | S_ISVTX;

class Rules
{
public:
    Rules()
        // ENOSYS is what an older kernel answers: the libraries know their way around that, while
        // they would take "not permitted" for a last word.
        : context(seccomp_init(SCMP_ACT_ERRNO(ENOSYS)), seccomp_release), isComplete(context)
    {
    }

    template <typename... Conditions>
    void Allow(int call, Conditions... conditions)
    {
        isComplete = isComplete && seccomp_rule_add(context.get(), SCMP_ACT_ALLOW, call,
                                                    sizeof...(conditions), conditions...) == 0;
    }

    /** The program that the kernel runs; empty when it could not be made. */
    std::vector<sock_filter> Program() const
    {
        const PDF::FileDescriptor file(::memfd_create("filter", MFD_CLOEXEC));
        struct stat status = {};
        if (!isComplete || seccomp_export_bpf(context.get(), file.Number()) != 0 ||
            ::fstat(file.Number(), &status) != 0)
            return {};
        std::vector<sock_filter> program(std::size_t(status.st_size) / sizeof(sock_filter));
        const ssize_t size =
            ::pread(file.Number(), program.data(), program.size() * sizeof(sock_filter), 0);
        return size == status.st_size ? program : std::vector<sock_filter>();
    }

private:
    const std::unique_ptr<void, void (*)(scmp_filter_ctx)> context;
    bool isComplete;
};

scmp_arg_cmp Is(unsigned argument, scmp_datum_t value)
{
    return {argument, SCMP_CMP_EQ, value, 0};
}

scmp_arg_cmp HasNoBitOf(unsigned argument, scmp_datum_t bits)
{
    return {argument, SCMP_CMP_MASKED_EQ, bits, 0};
}

void AllowCalls(Rules& rules)
{
    for (const int call : fileCalls)
        rules.Allow(call);
    for (const int call : otherCalls)
        rules.Allow(call);
    rules.Allow(SCMP_SYS(mmap), HasNoBitOf(2, PROT_EXEC));
    // A result, which others see, could else be a program that runs as this user.
    rules.Allow(SCMP_SYS(open), HasNoBitOf(2, toRun));
    rules.Allow(SCMP_SYS(openat), HasNoBitOf(3, toRun));
    // By other commands of fcntl a signal could be sent to any process.
    for (const int command : {F_GETFD, F_SETFD, F_GETFL})
        rules.Allow(SCMP_SYS(fcntl), Is(1, scmp_datum_t(command)));
    // Each request has its CPU time anew. A filter does not see the value, so this limit alone can
    // be lifted.
    rules.Allow(SCMP_SYS(prlimit64), Is(0, 0), Is(1, RLIMIT_CPU));
}

void AllowCallsOfThreads(Rules& rules)
{
    for (const int call : callsOfThreads)
        rules.Allow(call);
    // Memory of threads but the first is made writable as it is needed.
    rules.Allow(SCMP_SYS(mprotect), HasNoBitOf(2, PROT_EXEC));
}

} // namespace

SeccompFilter::SeccompFilter(bool hasThreadOfPool, int memoryChannel)
{
    if (!canLimit)
        return;
    Rules rules;
    AllowCalls(rules);
    if (hasThreadOfPool)
        AllowCallsOfThreads(rules);
    if (memoryChannel >= 0)
        rules.Allow(SCMP_SYS(recvmsg), Is(0, scmp_datum_t(memoryChannel)));
    program = rules.Program();
}

bool SeccompFilter::Load() const
{
    const sock_fprog filter = {static_cast<unsigned short>(program.size()),
                               const_cast<sock_filter*>(program.data())};
    return !program.empty() &&
           ::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_TSYNC, &filter) == 0;
}

} // namespace Korvel::Worker
