#pragma once

#include "ProgressStyle.h"

namespace Korvel::App {

/** How the user is told what happens. */
struct ConsoleOptions
{
    ProgressStyle progress = ProgressStyle::Auto;
    /** Print one JSON document at the end in place of the results' paths. */
    bool json = false;
    /** Show no progress and no warnings, only errors. */
    bool quiet = false;
    /** How much is logged; 0 for nothing. */
    int verbosity = 0;
};

} // namespace Korvel::App
