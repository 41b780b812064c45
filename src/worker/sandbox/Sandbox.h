#pragma once

#include "Measure.h"
#include "SandboxSettings.h"
#include "SeccompFilter.h"

#include <string>
#include <vector>

namespace Korvel::Worker {

/**
 * Keeps a process from doing damage, whatever a document makes of it.
 *
 * One process looks at one document only, or at those of which one is made, as what it may do can
 * only become less.
 */
class Sandbox
{
public:
    /**
     * Takes from this process what neither it nor its children need, and makes ready what they will
     * not find or load any more once they are inside. Needs a QCoreApplication.
     */
    explicit Sandbox(const SandboxSettings& settings);

    /** Sets the limits of the process that will look at a document, the only thread of which calls.
     */
    void SetLimits();

    /** Gives the next request its CPU time. A request that takes longer ends the process. */
    void LimitTime() const;

    /**
     * Leaves the process nothing but what it takes to read the files `inputs`, if any, and to write
     * results. Complains to standard error of what cannot be on this machine, and ends the process
     * where all has to be. After SetLimits; called once.
     */
    void Enter(const std::vector<std::string>& inputs);

    /** The names of the measures that are not in force. */
    std::vector<std::string> Missing() const;

    /** All there are, once the sandbox has been entered. */
    const std::vector<Measure>& Measures() const { return measures; }

private:
    const SandboxSettings settings;
    const SeccompFilter filter;
    std::vector<Measure> measures;
};

} // namespace Korvel::Worker
