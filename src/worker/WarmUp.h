#pragma once

namespace Korvel::Worker {

/**
 * Opens and draws a small document of our own, so that the children of this process find libraries
 * that are bound and set up, which each would otherwise do again. Needs a QCoreApplication.
 */
void WarmUp();

} // namespace Korvel::Worker
