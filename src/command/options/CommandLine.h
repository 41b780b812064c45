#pragma once

#include "Failure.h"
#include "Shard.h"

#include <optional>
#include <string>
#include <vector>

#include <QSize>
#include <QString>
#include <QStringList>

namespace Korvel::App {

/** What to do about a result whose path is taken. */
enum class OnExists {
    Number,   ///< give the result a number: page(2).png
    Fail,     ///< convert nothing of its document
    Skip,     ///< leave this result away
    Overwrite ///< replace the file
};

/** How the progress of a conversion is shown on standard error. */
enum class ProgressStyle {
    Auto,  ///< a bar on a terminal, lines elsewhere
    Bar,   ///< one line that is drawn again and again
    Plain, ///< a line every few seconds
    Json,  ///< events for other programs, in place of all messages
    None
};

/** Which journals to add up, and how to tell what they come to. */
struct ReportOptions
{
    std::vector<std::string> journals;
    /** Print JSON in place of text. */
    bool json = false;
    /** Print again whenever they grow, until all is done. */
    bool follow = false;
};

/** What the user asked for. */
struct CommandLine
{
    /** Add journals up, and do nothing else. */
    std::optional<ReportOptions> summary;

    /** As given; "-" stands for standard input. */
    QStringList inputs;
    /** File with further inputs, one a line, "-" for standard input; empty for none. */
    std::string listFile;
    /** The list's paths are ended by NUL instead of line feeds. */
    bool isListNulSeparated = false;
    /** The share of the list to convert; all of it without one. */
    std::optional<Shard> shard;

    /** Template of the results' paths; "-" for standard output. */
    QString output;
    /** Format of the results; empty for the one that the template's suffix tells. */
    QString format;
    OnExists onExists = OnExists::Number;
    bool dryRun = false;
    /** Tell what the inputs are, and convert nothing. */
    bool inspect = false;

    /** Dots per inch. */
    double resolution = 150;
    /** Pixels that a picture is to fit into, in place of the resolution; empty for none. */
    QSize size;
    bool gray = false;
    /** Of JPEG and WebP, from 1 to 100; 0 for the default. */
    int quality = 0;
    /** Of PNG, "fast" or "small"; empty for the default. */
    std::string compression;
    /** Page ranges as given; empty for all pages. */
    std::string pages;

    /** The password itself. */
    std::optional<std::string> password;
    /** File with the password, "-" for standard input; empty for none. */
    std::string passwordFile;
    /** File descriptor to read the password from; -1 for none. */
    int passwordDescriptor = -1;
    /** Environment variable with the password; empty for none. */
    std::string passwordVariable;
    /** File with a path, a tab and its password a line; empty for none. */
    std::string passwordMap;
    /** Ask for a password before anything is opened. */
    bool askPassword = false;
    /** Never ask. */
    bool noInput = false;

    /** How many pages are converted at once; 0 for as many as there are processors. */
    int jobs = 0;
    /** Seconds that a worker may take over one request; 0 for the default. */
    double timeout = 0;
    /** Megabytes that a worker may use; 0 for the default. */
    int memoryLimit = 0;
    bool failFast = false;
    /** File to write down in what becomes of each document; empty for none. */
    std::string journal;
    /** Convert also what the journal says has failed. */
    bool retriesFailed = false;
    bool warningsAreFine = false;

    /** Folder for the session folder; empty for the default. */
    std::string tempDir;
    /** Leave what is temporary where it is. */
    bool keepTemp = false;
    /** Print the version, and do nothing else. */
    bool version = false;
    /** Remove what killed runs have left there, and do nothing else. */
    bool cleanTemp = false;
    ProgressStyle progress = ProgressStyle::Auto;
    /** Print one JSON document at the end in place of the results' paths. */
    bool json = false;
    bool quiet = false;
    /** How much is logged; 0 for nothing. */
    int verbosity = 0;

    bool WritesToStandardOutput() const { return output == QLatin1String("-"); }
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

/** Overwrites a password among the arguments, which the list of processes shows. */
void HidePassword(int argc, char** argv);

} // namespace Korvel::App
