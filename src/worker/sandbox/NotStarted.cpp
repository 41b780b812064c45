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

} // namespace Korvel::Worker
