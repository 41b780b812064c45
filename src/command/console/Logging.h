#pragma once

namespace Korvel::App {

/**
 * Sends what the libraries log to standard error, up to level `verbosity`; nothing when it is 0.
 *
 * Never to files: those in the folder for temporary ones can be read by all.
 */
void StartLogging(const char* program, int verbosity);

} // namespace Korvel::App
