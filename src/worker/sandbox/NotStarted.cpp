#include "NotStarted.h"

#include <cstdio>

#include <unistd.h>

namespace Korvel::Worker {

namespace {

constexpr int notStartedExitCode = 78;

} // namespace

void EndAsNotStarted(const char* why)
{
    ::dprintf(STDERR_FILENO, "cannot start: %s\n", why);
    ::_exit(notStartedExitCode);
}

} // namespace Korvel::Worker
