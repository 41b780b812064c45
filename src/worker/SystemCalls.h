#pragma once

namespace Korvel::Worker {

/**
 * Leaves all threads of the process, for good, the system calls that converting a document takes:
 * no network, no other program, no other process, no further thread, no code that was not loaded
 * before.
 *
 * @return false where that cannot be: an old kernel, a build with a sanitizer
 */
bool LimitSystemCalls();

} // namespace Korvel::Worker
