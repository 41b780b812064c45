#pragma once

#include <sys/resource.h>

namespace Korvel::Worker {

/** Takes from the process what it does not need to look at documents that nobody vouches for. */
void RestrictProcess();

bool HasNoNewPrivileges();

/** Neither a core file nor a way for other programs of this user to look into the process. */
bool LeavesNoCore();

/** Unless the limit is lower already. Whether it holds. */
bool LowerLimit(__rlimit_resource_t resource, rlim_t value);

/**
 * From now on; SIGXCPU ends the process afterwards, unless it lifts the limit again. Whether it
 * holds.
 */
bool LimitProcessorTime(int seconds);

} // namespace Korvel::Worker
