#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

#include <sys/types.h>

namespace Korvel::PDF::Test {

void WriteFile(const std::string& path, const std::string& content);

std::string ReadFile(const std::string& path);

/** The permission bits of what is at `path` itself; links are not followed. */
mode_t ModeOf(const std::string& path);

/** The volume that `path` lies on. */
dev_t VolumeOf(const std::string& path);

/** Whether anything is at `path`, a dangling link included. */
bool IsAnything(const std::string& path);

/** What a folder holds, hidden entries included. */
std::set<std::string> NamesIn(const std::string& folder);

/** Whether this process may do everything, so that permissions cannot be tested by it. */
bool IsRoot();

/** Sets the process's umask as long as it lives. */
class Umask
{
public:
    explicit Umask(mode_t mask);
    ~Umask();

    Umask(const Umask&) = delete;
    Umask& operator=(const Umask&) = delete;

private:
    const mode_t before;
};

/** Sets the process's working folder as long as it lives. */
class WorkingFolder
{
public:
    explicit WorkingFolder(const std::string& folder);
    ~WorkingFolder();

    WorkingFolder(const WorkingFolder&) = delete;
    WorkingFolder& operator=(const WorkingFolder&) = delete;

private:
    const std::string before;
};

/** A process forked off this one; killed, if it still runs, when the object dies. */
class ForkedProcess
{
public:
    /** Runs `work` in the new process, whose exit code is what `work` answers. */
    explicit ForkedProcess(const std::function<int()>& work);
    ~ForkedProcess();

    ForkedProcess(const ForkedProcess&) = delete;
    ForkedProcess& operator=(const ForkedProcess&) = delete;

    /** Waits for its end: its exit code, or minus the signal that ended it. */
    int Wait();

    /** Ends it as nothing can prevent, and waits. */
    void Kill();

private:
    pid_t pid;
};

/** Text from one process to another. */
class Pipe
{
public:
    Pipe();
    ~Pipe();

    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    void WriteLine(const std::string& line) const;

    /** The next line; blocks until there is one. Empty when no process can write any more. */
    std::string ReadLine() const;

    /** Blocks until the other end is closed in all processes. */
    void WaitForEnd();

    void CloseWritingEnd();

    /** Makes the reading end this process's standard input. */
    void BecomeInput() const;

    /** Makes the writing end this process's standard output. */
    void BecomeOutput() const;

private:
    int ends[2];
};

/** Collects what the services log as long as it lives, from every thread. */
class ServicesMessages
{
public:
    ServicesMessages();
    ~ServicesMessages();

    ServicesMessages(const ServicesMessages&) = delete;
    ServicesMessages& operator=(const ServicesMessages&) = delete;

    std::vector<std::string> Texts() const;
};

} // namespace Korvel::PDF::Test
