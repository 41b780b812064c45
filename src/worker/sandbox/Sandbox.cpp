#include "Sandbox.h"

#include "LandlockRules.h"
#include "NotStarted.h"
#include "OutOfMemory.h"
#include "ResourceLimits.h"
#include "Sanitizers.h"

#include <chrono>
#include <future>
#include <iostream>
#include <memory>
#include <system_error>
#include <thread>

#include <QThreadPool>

#include <malloc.h>

namespace Korvel::Worker {

namespace {

constexpr rlim_t mostDescriptors = 64;

constexpr std::chrono::seconds timeToStart(10); // a thread takes less than a thousandth of it

/** Qt would wait for ever for a thread that could not be made. Its stack serves the next one. */
bool CanStartThread()
{
    try {
        std::thread([] {}).join();
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

/**
 * Qt converts pictures on threads of its pool, and would wait for ever for one without a stack. The
 * C library registers a thread while it starts, which a filter of system calls would refuse.
 */
bool StartThreadOfPool()
{
    mallopt(M_ARENA_MAX, 1); // a second one would take 64 MiB of the address space
    QThreadPool& pool = *QThreadPool::globalInstance();
    pool.setMaxThreadCount(1);
    pool.setExpiryTimeout(-1);
    if (!CanStartThread())
        return false;
    const auto started = std::make_shared<std::promise<void>>();
    pool.start([started] { started->set_value(); });
    return started->get_future().wait_for(timeToStart) == std::future_status::ready;
}

} // namespace

Sandbox::Sandbox(const SandboxSettings& settings)
    : settings(settings), filter(settings.hasThreadOfPool, settings.memoryChannel)
{
    RestrictProcess();
}

void Sandbox::SetLimits()
{
    if (settings.hasThreadOfPool && !StartThreadOfPool()) // before no further one may be made
        EndAsNotStarted("there is no room for another thread");
    measures = {{"no new privileges", HasNoNewPrivileges()},
                {"no core dump", LeavesNoCore()},
                {"memory limit", LimitMemory(settings.memoryLimit)},
                {"CPU time limit", LimitProcessorTime(settings.timeLimit)},
                {"descriptor limit", LowerLimit(RLIMIT_NOFILE, mostDescriptors)},
                {processLimit, !IS_SANITIZED && LowerLimit(RLIMIT_NPROC, 0)}};
    if (settings.fileLimit > 0)
        measures.push_back(
            {"file size limit", LowerLimit(RLIMIT_FSIZE, rlim_t(settings.fileLimit) << 20)});
}

void Sandbox::LimitTime() const
{
    LimitProcessorTime(settings.timeLimit);
}

void Sandbox::Enter(const std::vector<std::string>& inputs)
{
    using namespace WorkerProtocol::Measure;
    measures.push_back(
        {fileAccess, LimitFileAccess(inputs, settings.folder, settings.hasThreadOfPool)});
    measures.push_back({systemCalls, filter.Load()});
    std::string all;
    for (const std::string& name : Missing()) {
        std::cerr << "warning: not in force here: " << name << std::endl;
        all += (all.empty() ? "" : ", ") + name;
    }
    if (settings.requiresAll && !all.empty())
        EndAsUnconfined(all.c_str());
}

std::vector<std::string> Sandbox::Missing() const
{
    std::vector<std::string> names;
    for (const Measure& measure : measures) {
        if (!measure.isInForce)
            names.emplace_back(measure.name);
    }
    return names;
}

} // namespace Korvel::Worker
