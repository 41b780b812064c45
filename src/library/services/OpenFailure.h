#pragma once

namespace Korvel::PDF {

/** Why a document could not be opened. */
enum class OpenFailure {
    None,                  ///< it was opened, or nobody tried
    Unreadable,            ///< missing, no regular file, not allowed to be read
    Empty,                 ///< a file without any bytes
    NotAPdf,               ///< a file of another kind
    Damaged,               ///< a PDF that is damaged beyond repair
    NoPassword,            ///< encrypted, and no password was given
    WrongPassword,         ///< encrypted, and the password given does not open it
    UnsupportedEncryption, ///< encrypted in a way that is not supported
    OutOfMemory,           ///< it needs more memory than a worker is given
    TimedOut,              ///< the worker took longer than it was given
    WorkerFailed,          ///< the worker died, spoke nonsense, or was shut down
    NotStarted,            ///< no worker could be started; the document is not to blame
    Changed,               ///< somebody changed the file while it was read
    TooManyPages,          ///< it lists more pages than a file of its size can hold
    Unconfined             ///< a measure of the sandbox is missing, and all are required
};

} // namespace Korvel::PDF
