#pragma once

#include "Shard.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace Korvel::App {

/** Which documents to take. */
struct InputOptions
{
    /** The paths as they were given; "-" stands for standard input. */
    std::vector<std::string> paths;
    /** File with further paths, one a line, "-" for standard input; empty for none. */
    std::string list;
    /** The list's paths are ended by NUL instead of line feeds. */
    bool isListNulSeparated = false;
    /** Folders stand for the PDFs in them and in the folders below. */
    bool isRecursive = false;
    /** The share of the list to convert; all of it without one. */
    std::optional<Shard> shard;

    /** Whether standard input is one of the documents. */
    bool ReadsStandardInput() const
    {
        return std::find(paths.begin(), paths.end(), "-") != paths.end();
    }
};

} // namespace Korvel::App
