#pragma once

#include <sys/resource.h>

namespace Korvel::Worker {

/** Takes from the process what it does not need to look at documents that nobody vouches for. */
void RestrictProcess();

/** Unless the limit is lower already. */
void LowerLimit(__rlimit_resource_t resource, rlim_t value);

} // namespace Korvel::Worker
