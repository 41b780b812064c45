#pragma once

#include <string>
#include <vector>

namespace Korvel::Worker {

/** What the process that looks at a document is given. */
struct SandboxSettings
{
    /** MiB of address space. */
    int memoryLimit = 1024;
    /** Seconds of CPU time for each request. */
    int timeLimit = 600;
    /** The folder to write in, an absolute path; empty for any. */
    std::string folder;
};

/** A way in which the process is kept from doing damage. */
struct Measure
{
    const char* name;
    bool isInForce;
};

/**
 * Keeps this process from doing damage, whatever a document makes of it.
 *
 * One process looks at one document only, as what it may do can only become less.
 */
class Sandbox
{
public:
    /** Sets the limits that need no document to be known. */
    explicit Sandbox(const SandboxSettings& settings);

    /** Gives the next request its CPU time. A request that takes longer ends the process. */
    void LimitTime() const;

    /**
     * Leaves the process nothing but what it takes to read the file `input`, or none, and to write
     * results. Complains to standard error of what cannot be on this machine. Needs a
     * QCoreApplication; called once.
     */
    void Enter(const std::string& input);

    /** All there are, once the sandbox has been entered. */
    const std::vector<Measure>& Measures() const { return measures; }

private:
    const SandboxSettings settings;
    std::vector<Measure> measures;
};

} // namespace Korvel::Worker
