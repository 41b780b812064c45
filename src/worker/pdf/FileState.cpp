#include "FileState.h"

#include "RequestError.h"

#include <csignal>
#include <map>

#include <unistd.h>

namespace Korvel::Worker {

namespace {

/** The files that the handler of SIGBUS looks at, and how long they were. */
std::map<std::string, off_t>& Mapped()
{
    static std::map<std::string, off_t> mapped;
    return mapped;
}

void EndIfShortened(int)
{
    struct stat now = {};
    for (const auto& [path, size] : Mapped()) {
        if (::stat(path.c_str(), &now) == 0 && now.st_size < size)
            EndAsChanged();
    }
    __builtin_trap(); // the disk has failed, or the program has a fault
}

bool IsSameTime(const timespec& a, const timespec& b)
{
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

} // namespace

FileState FileState::Of(const std::string& path)
{
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0)
        status = {};
    return FileState(status);
}

bool FileState::IsOfFileOf(const FileState& other) const
{
    return status.st_dev == other.status.st_dev && status.st_ino == other.status.st_ino;
}

bool FileState::IsOfSameContentAs(const FileState& other) const
{
    // A link more or less, as backups make them, changes the last of the times, and no byte.
    const bool isRelinked = other.status.st_nlink != status.st_nlink;
    return IsOfFileOf(other) && other.status.st_size == status.st_size &&
           IsSameTime(other.status.st_mtim, status.st_mtim) &&
           (isRelinked || IsSameTime(other.status.st_ctim, status.st_ctim));
}

bool FileState::IsStillThatOf(const std::string& path) const
{
    struct stat now = {};
    return ::stat(path.c_str(), &now) != 0 || IsOfSameContentAs(FileState(now));
}

void FileState::Require(const std::string& path) const
{
    if (!IsStillThatOf(path))
        throw RequestError(Reason::Changed, "the file was changed while it was read");
}

void EndAsChanged()
{
    ::_exit(WorkerProtocol::changedExitCode);
}

void EndWhereSourceIsShortened()
{
    std::signal(SIGBUS, EndIfShortened);
}

void ExpectShortening(const std::string& path, off_t size)
{
    Mapped()[path] = size;
}

} // namespace Korvel::Worker
