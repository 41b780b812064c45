#pragma once

namespace Korvel::Worker {

/** With which a child says that another one is wanted. */
inline constexpr int releasedExitCode = 76;

/**
 * Returns in a child of this process, which looks at one document and starts with everything that
 * this process has made ready. When it has ended with `releasedExitCode` the call returns in a new
 * child; in whatever other way it ended, this process ends alike. So the call never returns in this
 * process itself, and there is never more than one child.
 *
 * SIGTERM ends the child and then this process, so that nothing is at work any more once this
 * process is gone. A child that outlives it, as it was killed, is killed at once.
 *
 * Called with a single thread.
 */
void ForkForEachDocument();

} // namespace Korvel::Worker
