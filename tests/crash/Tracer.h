#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>

#include <sys/types.h>

namespace Korvel::Failing {

/** A system call that a traced process is about to make. */
struct Call
{
    /** Of the processes in the order in which they appeared; 0 is the first. */
    int process;
    pid_t thread;
    long number;
    std::array<std::uint64_t, 6> arguments;
};

/**
 * The name of a call and the files that it is about, by path or descriptor: "unlink /tmp/a".
 * Valid only while the thread waits to make it.
 */
std::string Describe(const Call& call);

/** What is to happen to a call: an error number that it fails with, or one of these. */
enum Verdict : int {
    Go = 0,
    /** Its process ends at once, by SIGKILL, without having made the call. */
    Kill = -1,
};

/** How a traced process ended. */
struct TracedEnd
{
    /** Its exit code, or minus the signal that ended it. */
    int code = 0;
    /** Whether it, or one that it had started, had to be ended since it took too long. */
    bool hung = false;
};

/** Whether processes may be traced here. */
bool CanTrace();

/** Is told what a call has answered: what it has done, or minus an error number. */
using Answered = std::function<void(const Call&, long answer)>;

/**
 * Runs `work` in a forked process, whose exit code is what it answers. Asks `judge` about every
 * system call of that process and of all that it starts, and returns when all of them have ended.
 *
 * @param answered  told of each call that was made, before its thread goes on; may be left out
 */
TracedEnd Trace(const std::function<int()>& work, const std::function<int(const Call&)>& judge,
                const Answered& answered = {});

} // namespace Korvel::Failing
