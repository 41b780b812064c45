#pragma once

namespace Korvel::Worker {

/**
 * Returns in children of this process, each of which looks at one document and starts with
 * everything that this process has made ready. In this process itself the call does not return.
 *
 * Children are ordered over `orders`, a socket that keeps messages apart, by the descriptors that
 * each is to have (WorkerProtocol::Given). Over its control socket, which stays in this process,
 * the asker is sent how a child has ended, as waitpid tells it, once the child is gone. To end one
 * he shuts his end down or closes it: a child that a document has taken over is not asked, and can
 * say nothing in the name of this process. When `orders` is closed, or the process that has started
 * this one is gone, all children are ended, and this process behind them. Should it be killed, so
 * are they.
 *
 * In a child the three standard streams are its own, the socket of its lines being its standard
 * input, and `orders` is the number of the socket that memory comes over.
 *
 * The process has a single thread when it calls this.
 *
 * @return the descriptor that answers are written to
 */
int ForkForEachDocument(int orders);

} // namespace Korvel::Worker
