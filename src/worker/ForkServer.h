#pragma once

namespace Korvel::Worker {

/**
 * Returns in a child of this process, which looks at one document and starts with everything that
 * this process has made ready. In whatever way the child ends, this process ends alike. So the call
 * never returns in this process itself, and there is never more than one child.
 *
 * SIGRTMIN, if this process's parent has queued it, ends the child, as the document is done with;
 * the call returns in a new one. A document may have taken the child over, so it is not asked. Once
 * it is gone a line {"released":N} is written to `answers`, where N is the number that was queued
 * with the signal, which no child knows. Of a real-time signal none is lost, whoever has sent it
 * before.
 *
 * SIGTERM, if it comes from the parent, ends the child and then this process, so that nothing is at
 * work any more once this process is gone. A child that outlives it, as it was killed, is killed at
 * once.
 *
 * Both signals are ignored when others send them.
 *
 * The process has a single thread when it calls this.
 */
void ForkForEachDocument(int answers);

} // namespace Korvel::Worker
