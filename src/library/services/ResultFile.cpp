#include "ResultFile.h"

#include <algorithm>

#include <sys/stat.h>

namespace Korvel::PDF {

using WorkerProtocol::Reason;

namespace {

constexpr qint64 bytesOfBlock = 512; // whatever the file system has

/** What is allowed on the disk: file systems count blocks in which they note where others lie. */
qint64 WithNotes(qint64 bytes)
{
    return bytes + bytes / 8;
}

} // namespace

std::optional<Reason> ProblemOfResult(const QString& path, int largest)
{
    struct stat status = {};
    if (::lstat(path.toStdString().c_str(), &status) != 0 || !S_ISREG(status.st_mode) ||
        (status.st_mode & (S_ISUID | S_ISGID)) != 0 || status.st_size == 0)
        return Reason::Rubbish;
    const qint64 allowed = qint64(largest) << 20;
    const bool isTooLarge =
        status.st_size > allowed || status.st_blocks * bytesOfBlock > WithNotes(allowed);
    return largest > 0 && isTooLarge ? std::optional(Reason::TooLarge) : std::nullopt;
}

} // namespace Korvel::PDF
