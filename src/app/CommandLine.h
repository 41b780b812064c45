#pragma once

#include "Failure.h"

#include <optional>
#include <string>

#include <QString>

namespace Korvel::App {

/** What the user asked for. */
struct CommandLine
{
    QString input;
    /** Template of the results' paths; its suffix gives the format. */
    QString output;
    /** Dots per inch. */
    double resolution = 150;
    /** Page ranges as given; empty for all pages. */
    std::string pages;
    /** File with the password, "-" for standard input; empty for none. */
    std::string passwordFile;
    /** Environment variable with the password; empty for none. */
    std::string passwordEnv;
    /** Folder for the session folder; empty for the default. */
    std::string tempDir;
    bool quiet = false;
    /** How much is logged; 0 for nothing. */
    int verbosity = 0;
};

/** What parsing came to: a command line to carry out, or a text to print and an exit code. */
struct ParseResult
{
    std::optional<CommandLine> commandLine;
    std::string text;
    ExitCode code = ExitCode::Done;
};

/** Reads the arguments of main(). Touches no file. */
ParseResult ParseCommandLine(int argc, const char* const* argv);

} // namespace Korvel::App
