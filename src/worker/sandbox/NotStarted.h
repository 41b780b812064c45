#pragma once

namespace Korvel::Worker {

/**
 * Ends the process at once, before it has looked at a document, since the machine does not give it
 * what it takes: says why to standard error, and the exit code says that no document is to blame.
 */
[[noreturn]] void EndAsNotStarted(const char* why);

} // namespace Korvel::Worker
