#include "Sandbox.h"

#include "LandlockRules.h"
#include "OutOfMemory.h"
#include "ResourceLimits.h"
#include "Sanitizers.h"

#include <iostream>

#include <QBuffer>
#include <QImageWriter>
#include <QThreadPool>

#include <malloc.h>

namespace Korvel::Worker {

namespace {

constexpr rlim_t largestFile = rlim_t(10) << 30; // more than a cross-reference table can address
constexpr rlim_t mostDescriptors = 64;

/** Qt converts pictures on threads of its pool, and would wait for ever for one without a stack. */
void StartThreadOfPool()
{
    mallopt(M_ARENA_MAX, 1); // a second one would take 64 MiB of the address space
    QThreadPool& pool = *QThreadPool::globalInstance();
    pool.setMaxThreadCount(1);
    pool.setExpiryTimeout(-1);
    pool.start([] {});
}

/** Later there is neither a way to their files nor to run code that is not there yet. */
void LoadPlugins()
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    QImageWriter(&buffer, "png").canWrite(); // asks all of them
}

} // namespace

Sandbox::Sandbox(const SandboxSettings& settings) : settings(settings)
{
    RestrictProcess();
    LoadPlugins();
}

void Sandbox::SetLimits()
{
    StartThreadOfPool(); // before no further one may be made
    measures = {{"no new privileges", HasNoNewPrivileges()},
                {"no core dump", LeavesNoCore()},
                {"memory limit", LimitMemory(settings.memoryLimit)},
                {"CPU time limit", LimitProcessorTime(settings.timeLimit)},
                {"file size limit", LowerLimit(RLIMIT_FSIZE, largestFile)},
                {"descriptor limit", LowerLimit(RLIMIT_NOFILE, mostDescriptors)},
                {"process limit", !IS_SANITIZED && LowerLimit(RLIMIT_NPROC, 0)}};
}

void Sandbox::LimitTime() const
{
    LimitProcessorTime(settings.timeLimit);
}

void Sandbox::Enter(const std::string& input)
{
    measures.push_back({"file access (Landlock)", LimitFileAccess(input, settings.folder)});
    measures.push_back({"system calls (seccomp)", systemCalls.Load()});
    for (const Measure& measure : measures) {
        if (!measure.isInForce)
            std::cerr << "warning: not in force here: " << measure.name << std::endl;
    }
}

} // namespace Korvel::Worker
