#pragma once

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
    Differs = 9,       ///< files are not what journals tell
    PartlyFailed = 10, ///< some inputs were converted, and some were not
    TimedOut = 124,    ///< a document took longer than it was given
};

} // namespace Korvel::App
