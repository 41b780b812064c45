#pragma once

#include "Failure.h"
#include "Options.h"

#include <optional>
#include <string>

namespace Korvel::App {

/** What parsing came to: options to carry out, or a text to print and an exit code. */
struct ParseResult
{
    std::optional<Options> options;
    std::string text;
    ExitCode code = ExitCode::Done;
};

/** Reads the arguments of main(). Touches no file. */
ParseResult ParseCommandLine(int argc, const char* const* argv);

/** Overwrites a password among the arguments, which the list of processes shows. */
void HidePassword(int argc, char** argv);

} // namespace Korvel::App
