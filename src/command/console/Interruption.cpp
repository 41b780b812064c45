#include "Interruption.h"

#include "Failure.h"

#include <cstdint>
#include <utility>

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace Korvel::App {

namespace {

sigset_t SignalsToHear()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action = {};
        if (sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_IGN)
            sigaddset(&signals, number);
    }
    return signals;
}

void Raise(int event)
{
    const std::uint64_t one = 1;
    while (::write(event, &one, sizeof one) < 0 && errno == EINTR) {
    }
}

} // namespace

Interruption::Interruption()
    : signals(SignalsToHear()),
      arrived(::eventfd(0, EFD_CLOEXEC)),
      urgent(::eventfd(0, EFD_CLOEXEC)),
      stop(::eventfd(0, EFD_CLOEXEC))
{
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    listener = std::thread([this] { Listen(); });
}

Interruption::~Interruption()
{
    Raise(stop.Number());
    listener.join();
}

void Interruption::Check() const
{
    if (signal != 0)
        throw Interrupted();
}

void Interruption::OnSignal(std::function<void()> next)
{
    const std::lock_guard lock(mutex);
    handler = std::move(next);
    if (handler && signal != 0)
        handler();
}

void Interruption::Listen()
{
    const PDF::FileDescriptor received(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    pollfd waits[] = {{received.Number(), POLLIN, 0}, {stop.Number(), POLLIN, 0}};
    while (waits[1].revents == 0) {
        if (::poll(waits, 2, -1) < 0)
            continue;
        signalfd_siginfo info;
        if (::read(received.Number(), &info, sizeof info) != sizeof info)
            continue;
        const std::lock_guard lock(mutex);
        Raise((signal == 0 ? arrived : urgent).Number());
        isUrgent = signal != 0;
        if (signal == 0)
            signal = int(info.ssi_signo);
        if (handler)
            handler();
    }
}

} // namespace Korvel::App
