#pragma once

#include <stdexcept>
#include <string>

namespace Korvel::App {

/** How the command ended. 128 and the signal's number when a signal ended it. */
enum class ExitCode {
    Done = 0,
    Internal = 1,      ///< the installation is broken, or something unforeseen happened
    Usage = 2,         ///< the command line was not understood
    Warnings = 3,      ///< done, but a warning says that the result wants a look
    Input = 4,         ///< the input is missing, unreadable or not a PDF
    Output = 5,        ///< the output cannot be written
    Exists = 6,        ///< the output exists, and is not to be touched
    Conversion = 7,    ///< the conversion failed
    Password = 8,      ///< a password is missing or wrong
    PartlyFailed = 10, ///< some inputs were converted, and some were not
};

/** Ends the command, or the work on one input, with a message for the user and an exit code. */
class Failure : public std::runtime_error
{
public:
    Failure(ExitCode code, const std::string& message) : std::runtime_error(message), code(code) {}

    const ExitCode code;
};

/** Ends the command because a signal asked for it. */
class Interrupted : public std::runtime_error
{
public:
    explicit Interrupted(const std::string& message = "interrupted") : std::runtime_error(message)
    {
    }
};

} // namespace Korvel::App
