#pragma once

#include <optional>
#include <string>

namespace Korvel::App {

struct CommandLine;
class Interruption;

/**
 * The password from the file or the environment variable that the command line names. The variable
 * is removed from the environment, so that no child process sees it.
 *
 * @return nothing when the command line names neither
 * @throws Failure  Password: the file cannot be read, or the variable is not set
 */
std::optional<std::string> GivenPassword(const CommandLine& commandLine);

/**
 * Asks on the terminal, without echo.
 *
 * @return nothing when there is no terminal, or it gives no line
 * @throws Interrupted  a signal came meanwhile; the terminal is as it was
 */
std::optional<std::string> AskForPassword(const std::string& prompt,
                                          const Interruption& interruption);

} // namespace Korvel::App
