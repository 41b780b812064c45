#pragma once

namespace Korvel::Worker {

/**
 * Ends the process at once, before it has looked at a document, since the machine does not give it
 * what it takes: says why to standard error, and the exit code says that no document is to blame.
 */
[[noreturn]] void EndAsNotStarted(const char* why);

/** Ends the process in the same way since measures of the sandbox, `missing`, are not in force. */
[[noreturn]] void EndAsUnconfined(const char* missing);

} // namespace Korvel::Worker
