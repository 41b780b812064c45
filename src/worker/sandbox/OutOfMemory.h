#pragma once

namespace Korvel::Worker {

/**
 * Sets how much address space the process may have, in MiB, unless it has less. Where that is not
 * enough the process ends as by EndForLackOfMemory.
 *
 * @return false in builds with a sanitizer, which have no limit
 */
bool LimitMemory(int mebibytes);

/**
 * Ends the process at once, with the exit code that says why: not as by EndAsNotStarted, once
 * LimitMemory has been called.
 */
[[noreturn]] void EndForLackOfMemory();

} // namespace Korvel::Worker
