#pragma once

#include <stdexcept>
#include <string>

namespace Korvel::App {

/** How the command ended. 128 and the signal's number when a signal ended it. */
enum class ExitCode {
    Done = 0,
    Internal = 1,   ///< the installation is broken, or something unforeseen happened
    Usage = 2,      ///< the command line was not understood
    Input = 4,      ///< the input is missing, unreadable or not a PDF
    Output = 5,     ///< the output cannot be written
    Conversion = 7, ///< the conversion failed
    Password = 8,   ///< a password is missing or wrong
};

/** Ends the command with a message for the user and an exit code. */
class Failure : public std::runtime_error
{
public:
    Failure(ExitCode code, const std::string& message) : std::runtime_error(message), code(code) {}

    const ExitCode code;
};

/** Ends the command because a signal asked for it. */
class Interrupted : public std::exception
{
public:
    const char* what() const noexcept override { return "interrupted"; }
};

} // namespace Korvel::App
