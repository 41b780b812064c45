#pragma once

#include <optional>
#include <string>

namespace Korvel::App {

class Interruption;

/**
 * Asks on the terminal that the program was started from, without echo, wherever its streams lead.
 *
 * @return the line that was typed; nothing when there is no terminal, or when it went away
 * @throws Failure      Password: the line was ended without an answer, as by Ctrl+D
 * @throws Interrupted  a signal came meanwhile; the terminal is as it was
 */
std::optional<std::string> AskForPassword(const std::string& prompt,
                                          const Interruption& interruption);

/** Whether there is a terminal to ask on. */
bool CanAskForPassword();

} // namespace Korvel::App
