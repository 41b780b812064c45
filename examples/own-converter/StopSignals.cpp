#include "StopSignals.h"

static sigset_t Signals()
{
    sigset_t waited;
    sigemptyset(&waited);
    sigaddset(&waited, SIGINT);
    sigaddset(&waited, SIGTERM);
    return waited;
}

void StopSignals::Hold()
{
    const sigset_t waited = Signals();
    pthread_sigmask(SIG_BLOCK, &waited, nullptr);
}

StopSignals::StopSignals(std::function<void()> stop)
    : listener([this, stop = std::move(stop)] {
          const sigset_t waited = Signals();
          int signal = 0;
          sigwait(&waited, &signal);
          if (!isOver)
              stop();
      })
{
}

StopSignals::~StopSignals()
{
    isOver = true;
    pthread_kill(listener.native_handle(), SIGINT);
    listener.join();
}
