#pragma once

#include "FileDescriptor.h"
#include "Interrupted.h"

#include <atomic>
#include <csignal>
#include <functional>
#include <mutex>
#include <thread>

namespace Korvel::App {

/**
 * Turns SIGINT, SIGTERM and SIGHUP into a request to stop.
 *
 * The signals are blocked in every thread and taken up by a thread of this object's own, so they
 * are heard also while the main thread waits for something. A signal that was ignored when the
 * program started (under nohup, say) stays ignored.
 *
 * Made first thing in main(), before any other thread.
 */
class Interruption
{
public:
    Interruption();
    ~Interruption();

    /** The first signal that came; 0 when none has. */
    int Signal() const { return signal; }

    /** Becomes readable, for poll(2), when a signal has come. */
    int Descriptor() const { return arrived.Number(); }

    /** Becomes readable when a second signal has come, after which nothing is waited for. */
    int UrgentDescriptor() const { return urgent.Number(); }

    /** Whether a second signal has come. */
    bool IsUrgent() const { return isUrgent; }

    /** @throws Interrupted  a signal has come */
    void Check() const;

    /**
     * Has `handler` called on this object's thread when a signal comes, and at once when one has
     * come already. Only one at a time; an empty one for none. After the call the handler before
     * it is not running any more.
     */
    void OnSignal(std::function<void()> handler);

private:
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    void Listen();

    sigset_t signals;
    std::atomic<int> signal{0};
    std::atomic<bool> isUrgent{false};
    const PDF::FileDescriptor arrived;
    const PDF::FileDescriptor urgent;
    const PDF::FileDescriptor stop;
    std::mutex mutex;
    std::function<void()> handler;
    std::thread listener;
};

} // namespace Korvel::App
