#pragma once

namespace Korvel::Worker {

/** The address space of a worker that is not told another, in MiB. */
inline constexpr int defaultMemoryLimit = 4096;

/**
 * Sets how much address space the process may have, in MiB, unless it has less. Where that is not
 * enough the process ends as by EndForLackOfMemory. Builds with a sanitizer have no limit.
 */
void LimitMemory(int mebibytes);

/** Ends the process at once, with the exit code that says why. */
[[noreturn]] void EndForLackOfMemory();

} // namespace Korvel::Worker
