#include "SessionFolder.h"

#include "FileDescriptor.h"
#include "RemoveTree.h"
#include "ServicesLog.h"

#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include <QRandomGenerator>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Korvel::PDF {

namespace {

constexpr std::string_view namePrefix = "pdfconvert-";
constexpr std::size_t nameLength = namePrefix.size() + 6;

/** How often another name is tried after one that is taken, or whose folder was swept away. */
constexpr int attempts = 100;

// The sticky bit changes nothing in a private folder, and nobody sets it there by chance.
constexpr mode_t sessionMode = S_ISVTX | S_IRWXU;

bool IsUtf8(const std::string& text)
{
    return QString::fromStdString(text).toStdString() == text;
}

/** `folder` without links, so that nobody can change what lies under that path. */
std::filesystem::path ResolveFolder(const std::string& folder, std::error_code& failure)
{
    if (folder.find('\0') != std::string::npos) {
        failure = std::make_error_code(std::errc::invalid_argument);
        return {};
    }
    std::filesystem::path resolved = std::filesystem::canonical(folder, failure);
    if (!failure && !IsUtf8(resolved.native()))
        failure = std::make_error_code(std::errc::illegal_byte_sequence);
    return resolved;
}

FileDescriptor OpenFolder(const std::string& path)
{
    return FileDescriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
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

bool IsSessionName(const std::string& name)
{
    return name.size() == nameLength && name.compare(0, namePrefix.size(), namePrefix) == 0;
}

/** Whether it was abandoned, and is gone now. */
bool RemoveIfAbandoned(const std::string& path)
{
    const FileDescriptor folder = OpenFolder(path);
    // Where another sweep was faster, the name may be a new folder's by now.
    return folder && IsOwnSession(folder) && Lock(folder) && !IsRemoved(folder) && RemoveTree(path);
}

std::vector<std::string> SweepResolved(const std::filesystem::path& parent)
{
    std::vector<std::string> removed;
    std::error_code failure;
    const std::filesystem::directory_iterator end;
    std::filesystem::directory_iterator entry(parent, failure);
    for (; !failure && entry != end; entry.increment(failure)) {
        const std::string path = entry->path().native();
        if (IsSessionName(entry->path().filename().native()) && RemoveIfAbandoned(path))
            removed.push_back(path);
    }
    if (failure)
        qCWarning(servicesLog) << "cannot look for abandoned folders in"
                               << QString::fromStdString(parent.native())
                               << failure.message().c_str();
    return removed;
}

std::string NewSessionName()
{
    constexpr std::string_view letters =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    std::string name(namePrefix);
    while (name.size() < nameLength)
        name += letters[QRandomGenerator::system()->bounded(quint32(letters.size()))];
    return name;
}

/** Holds a new folder. */
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
FileDescriptor MakeHeld(const std::string& path, std::error_code& failure)
{
    failure = ::mkdir(path.c_str(), sessionMode) == 0 ? std::error_code() : LastError();
    if (failure)
        return FileDescriptor();
    FileDescriptor folder = OpenFolder(path);
    failure = Hold(folder);
    if (failure && !IsSwept(failure))
        ::rmdir(path.c_str());
    return folder;
}

/** The same under some name in `parent`; that goes to `path`. */
FileDescriptor MakeHeldIn(const std::filesystem::path& parent, std::string& path,
                          std::error_code& failure)
{
    for (int attempt = 1;; ++attempt) {
        path = (parent / NewSessionName()).native();
        FileDescriptor folder = MakeHeld(path, failure);
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
        std::error_code failure;
        const std::filesystem::path folder = ResolveFolder(parent, failure);
        if (!failure)
            SweepResolved(folder);
        std::string path;
        FileDescriptor lock = failure ? FileDescriptor() : MakeHeldIn(folder, path, failure);
        if (!failure)
            return std::unique_ptr<SessionFolder>(
                new SessionFolder(std::move(path), lock.Release()));
        error = failure.message();
    } catch (const std::bad_alloc&) {
        error = "out of memory";
    }
    return nullptr;
}

std::vector<std::string> SessionFolder::Sweep(const std::string& parent)
{
    std::error_code failure;
    const std::filesystem::path folder = ResolveFolder(parent, failure);
    return failure ? std::vector<std::string>() : SweepResolved(folder);
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
    return ::fchmod(lock, S_IRWXU) == 0; // without the mark
}

const std::string& SessionFolder::Path() const
{
    return path;
}

} // namespace Korvel::PDF
