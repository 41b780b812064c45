#pragma once

#include "WorkerProtocol.h"

#include <string>

namespace Korvel::Worker {

/** What the process that looks at a document is given. */
struct SandboxSettings
{
    /** MiB of address space. */
    int memoryLimit = WorkerProtocol::defaultMemoryLimit;
    /** Seconds of CPU time for each request. */
    int timeLimit = WorkerProtocol::defaultTimeLimit;
    /** MiB of a file that is written; 0 for no limit. */
    int fileLimit = WorkerProtocol::defaultFileLimit;
    /** The folder to write in, an absolute path; empty for any. */
    std::string folder;
    /** Whether no document is looked at where a measure is missing. */
    bool requiresAll = false;
    /**
     * Whether the engine works on a thread of Qt's pool, too; without, the process has a single
     * one, and fewer system calls.
     */
    bool hasThreadOfPool = true;
    /** The descriptor of the socket that memory for pictures comes over; -1 for none. */
    int memoryChannel = -1;
};

} // namespace Korvel::Worker
