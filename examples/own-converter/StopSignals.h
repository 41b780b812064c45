#pragma once

#include <atomic>
#include <csignal>
#include <functional>
#include <thread>

/** Calls a function, on a thread of its own, when SIGINT or SIGTERM comes. */
class StopSignals
{
public:
    /** Has the signals wait for an object of this class. To be called before any thread starts. */
    static void Hold();

    explicit StopSignals(std::function<void()> stop);

    /** The function is not running any more, and will not be called. */
    ~StopSignals();

private:
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    std::atomic<bool> isOver{false};
    std::thread listener;
};
