#include "SessionFolder.h"

#include "FileDescriptor.h"
#include "PathText.h"
#include "RemoveTree.h"
#include "ServicesLog.h"
#include "SessionName.h"
#include "TrustedFolder.h"

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Korvel::PDF {

namespace {

/** How often another name is tried after one that is taken, or whose folder was swept away. */
constexpr int attempts = 100;

// The sticky bit changes nothing in a private folder, and nobody sets it there by chance.
constexpr mode_t sessionMode = S_ISVTX | S_IRWXU;

FileDescriptor OpenFolder(int parent, const std::string& name)
{
    return FileDescriptor(
        ::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

bool IsOwnSession(const FileDescriptor& folder)
{
    struct stat status;
    // A parent that hands its group down marks the folders that are made in it.
    return ::fstat(folder.Number(), &status) == 0 && status.st_uid == ::geteuid() &&
           (status.st_mode & 07777 & ~mode_t(S_ISGID)) == sessionMode;
}

bool Lock(const FileDescriptor& folder)
{
    return ::flock(folder.Number(), LOCK_EX | LOCK_NB) == 0;
}

bool IsRemoved(const FileDescriptor& folder)
{
    struct stat status;
    return ::fstat(folder.Number(), &status) != 0 || status.st_nlink == 0;
}

/** Removes a session folder that was abandoned; whether it is gone now. */
bool RemoveIfAbandoned(int parent, const std::string& name)
{
    const FileDescriptor folder = OpenFolder(parent, name);
    // Where another sweep was faster, the name may be a new folder's by now.
    if (!folder || !IsOwnSession(folder) || !Lock(folder) || IsRemoved(folder))
        return false;
    if (RemoveContent(folder.Number()) && ::unlinkat(parent, name.c_str(), AT_REMOVEDIR) == 0)
        return true;
    qCWarning(servicesLog) << "cannot remove" << QString::fromStdString(name)
                           << LastError().message().c_str();
    return false;
}

std::vector<std::string> SessionNamesIn(const FileDescriptor& folder)
{
    std::vector<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(::fdopendir(::dup(folder.Number())),
                                                      ::closedir);
    while (const dirent* const entry = entries ? ::readdir(entries.get()) : nullptr) {
        if (IsSessionName(static_cast<const char*>(entry->d_name)))
            names.emplace_back(static_cast<const char*>(entry->d_name));
    }
    return names;
}

/** Removes the abandoned session folders; the names of those that are gone. */
std::vector<std::string> SweepOpened(int parent, const std::string& path)
{
    std::vector<std::string> removed;
    const FileDescriptor folder = OpenFolder(parent, ".");
    if (!folder)
        qCWarning(servicesLog) << "cannot look for abandoned folders in"
                               << QString::fromStdString(path) << LastError().message().c_str();
    for (const std::string& name : SessionNamesIn(folder)) {
        if (RemoveIfAbandoned(folder.Number(), name))
            removed.push_back(name);
    }
    return removed;
}

/** Locks and marks a new folder. */
std::error_code Hold(const FileDescriptor& folder)
{
    if (!folder || !Lock(folder) || ::fchmod(folder.Number(), sessionMode) != 0)
        return LastError();
    if (IsRemoved(folder))
        return std::make_error_code(std::errc::no_such_file_or_directory);
    // Some file systems give every folder one and the same mode, and say nothing.
    return IsOwnSession(folder) ? std::error_code()
                                : std::make_error_code(std::errc::operation_not_supported);
}

/** Whether a sweep came between the making of a folder and its lock. */
bool IsSwept(const std::error_code& failure)
{
    return failure == std::errc::no_such_file_or_directory ||
           failure == std::errc::operation_would_block;
}

/** Makes a folder that is marked from the first, so that it is swept if this process is killed. */
FileDescriptor MakeHeld(int parent, const std::string& name, std::error_code& failure)
{
    failure = ::mkdirat(parent, name.c_str(), sessionMode) == 0 ? std::error_code() : LastError();
    if (failure)
        return FileDescriptor();
    FileDescriptor folder = OpenFolder(parent, name);
    failure = Hold(folder);
    if (failure && !IsSwept(failure))
        ::unlinkat(parent, name.c_str(), AT_REMOVEDIR);
    return folder;
}

/** Makes a held folder under a new name, which goes to `name`. */
FileDescriptor MakeHeldIn(int parent, std::string& name, std::error_code& failure)
{
    for (int attempt = 1;; ++attempt) {
        name = NewSessionName();
        FileDescriptor folder = MakeHeld(parent, name, failure);
        const bool isAgain = failure == std::errc::file_exists || IsSwept(failure);
        if (!isAgain || attempt == attempts)
            return folder;
    }
}

} // namespace

std::string SessionFolder::DefaultParent()
{
    const char* const folder = std::getenv("TMPDIR");
    return folder && *folder == '/' ? folder : "/tmp";
}

std::unique_ptr<SessionFolder> SessionFolder::Create(const std::string& parent,
                                                     std::string& error) noexcept
{
    try {
        error.clear();
        const TrustedFolder trusted = TrustedFolder::Open(parent, error);
        if (error.empty() && !IsUtf8(trusted.path))
            error = std::make_error_code(std::errc::illegal_byte_sequence).message();
        if (!error.empty())
            return nullptr;
        SweepOpened(trusted.folder.Number(), trusted.path);
        std::error_code failure;
        std::string name;
        FileDescriptor lock = MakeHeldIn(trusted.folder.Number(), name, failure);
        if (!failure)
            return std::unique_ptr<SessionFolder>(new SessionFolder(
                (std::filesystem::path(trusted.path) / name).native(), lock.Release()));
        error = failure.message();
    } catch (const std::bad_alloc&) {
        error = "out of memory";
    }
    return nullptr;
}

std::vector<std::string> SessionFolder::Sweep(const std::string& parent)
{
    std::error_code failure;
    const std::filesystem::path path = std::filesystem::canonical(parent, failure);
    const FileDescriptor folder(failure ? -1
                                        : ::open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    std::vector<std::string> removed;
    if (folder)
        removed = SweepOpened(folder.Number(), path.native());
    for (std::string& name : removed)
        name = (path / name).native();
    return removed;
}

SessionFolder::SessionFolder(std::string path, int lock) : path(std::move(path)), lock(lock) {}

SessionFolder::~SessionFolder()
{
    if (!isKept)
        RemoveTree(path);
    ::close(lock);
}

bool SessionFolder::Keep() noexcept
{
    isKept = true;
    return ::fchmod(lock, S_IRWXU) == 0; // takes the mark off
}

const std::string& SessionFolder::Path() const
{
    return path;
}

} // namespace Korvel::PDF
