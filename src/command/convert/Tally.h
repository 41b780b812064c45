#pragma once

#include "Failure.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Korvel::App {

/** How many of a run's documents came to what. */
struct Tally
{
    std::size_t inputs = 0;
    std::size_t converted = 0;
    /** How many were left alone, as all of their results were there. */
    std::size_t skipped = 0;
    /** How many of the inputs earlier runs have converted, or could not convert. */
    std::size_t convertedBefore = 0;
    std::size_t failedBefore = 0;
    /** The exit codes of the documents that failed, one each. */
    std::vector<ExitCode> failures;

    /** A line for the user that tells all of it. */
    std::string Summary() const;

    /** The exit code where documents failed: the one that all inputs share, if they do. */
    ExitCode CodeOfFailures() const;
};

} // namespace Korvel::App
