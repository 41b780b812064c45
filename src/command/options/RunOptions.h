#pragma once

#include "DrawingEngine.h"
#include "WorkerProtocol.h"

#include <optional>
#include <string>

namespace Korvel::App {

/** How the work is done, and what it may take. */
struct RunOptions
{
    /** Tell where the results would go, and convert nothing. */
    bool isDry = false;
    /** Tell what the inputs are, and convert nothing. */
    bool inspects = false;
    /** How many pages are converted at once; 0 for as many as there are processors. */
    int jobs = 0;
    /** Seconds that a document may take to open, and to convert; 0 for the default. */
    double timeout = 0;
    /** Megabytes that a worker may use; 0 for the default. */
    int memoryLimit = 0;
    /** Megabytes that a result may have; 0 for any. */
    int largestResult = WorkerProtocol::defaultFileLimit;
    /** Convert nothing where a measure of the sandbox is missing. */
    bool requiresSandbox = false;
    /** By what pages are drawn and their text is read; nothing where that was not said. */
    std::optional<PDF::DrawingEngine> engine;
    /** Stop at the first document that fails. */
    bool failsFast = false;
    /** End with 7 when a page could not be converted. */
    bool isStrict = false;
    /** End with 0 when there were warnings only. */
    bool warningsAreFine = false;
    /** The folder in which the session folder is made. */
    std::string tempFolder;
    /** Leave what is temporary where it is. */
    bool keepsTemporaries = false;
};

} // namespace Korvel::App
