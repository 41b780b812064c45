#pragma once

namespace Korvel::PDF {

/** Why a document could not be saved. */
enum class SaveFailure {
    None,         ///< it was saved, or nobody tried
    CannotWrite,  ///< the file exists, its folder is missing or full, or the path is none
    Damaged,      ///< the document opened, but is too damaged to be written
    OutOfMemory,  ///< it needs more memory than a worker is given
    TimedOut,     ///< the worker took longer than it was given
    WorkerFailed, ///< the worker does not hold the document, died, or was shut down
    Changed,      ///< somebody has changed the file since it was opened
    TooLarge      ///< the copy is larger than is allowed
};

} // namespace Korvel::PDF
