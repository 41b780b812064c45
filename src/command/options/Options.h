#pragma once

#include "ConsoleOptions.h"
#include "InputOptions.h"
#include "JournalOptions.h"
#include "OutputOptions.h"
#include "PageOptions.h"
#include "PasswordOptions.h"
#include "ReportOptions.h"
#include "RunOptions.h"

namespace Korvel::App {

/**
 * What the user asked for: a record for each part of the command, which sees no other.
 *
 * Every text is the bytes that main() was given, as the system takes paths and a password is
 * compared. The bytes are valid UTF-8, so that who shows them can make a QString of them.
 */
struct Options
{
    /** What the command does; all but the first do nothing else. */
    enum class Command {
        Convert,
        Report,    ///< add journals up
        Version,   ///< print the version
        CleanTemp, ///< remove what killed runs have left in the folder for temporary files
    };

    Command command = Command::Convert;
    InputOptions input;
    OutputOptions output;
    PageOptions pages;
    PasswordOptions passwords;
    RunOptions run;
    JournalOptions journal;
    ConsoleOptions console;
    ReportOptions report;
};

} // namespace Korvel::App
