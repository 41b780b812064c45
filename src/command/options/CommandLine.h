#pragma once

#include "ExitCode.h"
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

} // namespace Korvel::App
