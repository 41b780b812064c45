#pragma once

#include <sys/resource.h>

namespace Korvel::Worker {

/** Takes from the process what it does not need to look at documents that nobody vouches for. */
void RestrictProcess();

bool HasNoNewPrivileges();

/** Whether the process leaves no core file, and no other program of this user can look into it. */
bool LeavesNoCore();

/** Lowers a limit, unless it is lower already; whether the limit holds. */
bool LowerLimit(__rlimit_resource_t resource, rlim_t value);

/**
 * Gives the process so much CPU time from now on; SIGXCPU ends it afterwards, unless it lifts the
 * limit again.
 *
 * @return whether the limit holds
 */
bool LimitProcessorTime(int seconds);

} // namespace Korvel::Worker
