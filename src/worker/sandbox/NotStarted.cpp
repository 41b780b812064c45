#include "NotStarted.h"

#include "WorkerProtocol.h"

#include <cstdio>

#include <unistd.h>

namespace Korvel::Worker {

void EndAsNotStarted(const char* why)
{
    ::dprintf(STDERR_FILENO, "cannot start: %s\n", why);
    ::_exit(WorkerProtocol::notStartedExitCode);
}

void EndAsUnconfined(const char* missing)
{
    ::dprintf(STDERR_FILENO, "cannot start: not in force here: %s\n", missing);
    ::_exit(WorkerProtocol::unconfinedExitCode);
}

} // namespace Korvel::Worker
