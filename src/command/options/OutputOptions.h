#pragma once

#include "OnExists.h"

#include <string>

namespace Korvel::App {

/** Where the results go. */
struct OutputOptions
{
    /** Template of the results' paths, as OutputTemplate reads it; "-" for standard output. */
    std::string path;
    /** The template begins in the folder of each input. */
    bool isBeside = false;
    /** Format of the results; empty for the one that the template's suffix tells. */
    std::string format;
    /** All inputs become one PDF. */
    bool merges = false;
    /** PDFs are made so that their first pages can be shown before the rest has come. */
    bool isLinearized = false;
    OnExists onExists = OnExists::Number;

    bool IsStandardOutput() const { return path == "-"; }
};

} // namespace Korvel::App
