#pragma once

#include <atomic>
#include <functional>

namespace Korvel::PDF::Test {

/**
 * A system call as this test program and the libraries under test make it, which can be told to
 * answer as it does on other machines.
 */
class SystemCall
{
public:
    /** Lets the call fail with the number `error`, after it has worked a few times. */
    void FailWith(int error, int after = 0);

    /** Lets only the next call fail. */
    void FailOnceWith(int error);

    /** How many calls have failed because they were told to. */
    int Failures() const { return failures; }

    /** Whether this call is to fail; errno is set then. For the calls themselves. */
    bool Fails();

private:
    std::atomic<int> error = 0;
    std::atomic<int> working = 0;
    std::atomic<bool> once = false;
    std::atomic<int> failures = 0;
};

/** The calls that a move is made of, all of them as usual as long as no such object lives. */
struct SystemCalls
{
    SystemCalls();
    ~SystemCalls();

    SystemCalls(const SystemCalls&) = delete;
    SystemCalls& operator=(const SystemCalls&) = delete;

    SystemCall renameWithoutReplacing; ///< renameat2
    SystemCall makeUnnamedFile;        ///< open with O_TMPFILE
    SystemCall nameUnnamedFile;        ///< linkat
    SystemCall link;
    SystemCall unlink;
    SystemCall copyBytes; ///< sendfile
    SystemCall flush;     ///< fsync
    SystemCall setMode;   ///< fchmod

    /** The most bytes that are copied by one call; 0 for as many as are asked for. */
    std::atomic<std::size_t> longestCopy = 0;

    /** Told of each of these calls before it is made, if set; makes none of them itself. */
    std::function<void(const SystemCall& call)> beforeEach;
};

} // namespace Korvel::PDF::Test
