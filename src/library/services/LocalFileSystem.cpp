#include "LocalFileSystem.h"

#include "FileDescriptor.h"
#include "HiddenFile.h"
#include "PathText.h"
#include "RemoveTree.h"
#include "ServicesLog.h"
#include "SessionFolder.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <new>
#include <string>
#include <system_error>
#include <utility>

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Korvel::PDF {

namespace {

constexpr std::size_t longestTransfer = 16UL * 1024 * 1024;

/** What `operation` answers; running out of memory counts as its failure. */
template <typename Operation>
bool FalseWhenThrown(const Operation& operation) noexcept
{
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        return false;
    }
}

QString Text(const std::string& path)
{
    return QString::fromStdString(path);
}

void LogFailure(const char* what, const std::string& path, const std::error_code& failure)
{
    qCWarning(servicesLog) << what << Text(path) << failure.message().c_str();
}

bool IsThere(const std::string& path)
{
    struct stat status;
    return ::lstat(path.c_str(), &status) == 0;
}

std::string FolderOf(const std::string& file)
{
    const std::string folder = std::filesystem::path(file).parent_path().native();
    return folder.empty() ? "." : folder;
}

bool IsUnsupported(const std::error_code& failure)
{
    return failure == std::errc::invalid_argument || failure == std::errc::not_supported ||
           failure == std::errc::function_not_supported;
}

std::error_code RequireRegularFile(const std::string& path)
{
    struct stat status;
    if (::lstat(path.c_str(), &status) != 0)
        return LastError();
    return S_ISREG(status.st_mode) ? std::error_code()
                                   : std::make_error_code(std::errc::invalid_argument);
}

/** Removes a source whose content has arrived: the move is done, whether this works or not. */
void RemoveSource(const std::string& source)
{
    if (::unlink(source.c_str()) != 0)
        LogFailure("cannot remove what was moved away:", source, LastError());
}

std::error_code RenameWithoutReplacing(const std::string& from, const std::string& to)
{
    const int result = ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE);
    return result == 0 ? std::error_code() : LastError();
}

std::error_code LinkAndUnlink(const std::string& from, const std::string& to)
{
    if (::link(from.c_str(), to.c_str()) != 0)
        return LastError();
    RemoveSource(from);
    return {};
}

std::error_code MoveWithinVolume(const std::string& from, const std::string& to)
{
    const std::error_code failure = RenameWithoutReplacing(from, to);
    return IsUnsupported(failure) ? LinkAndUnlink(from, to) : failure;
}

std::error_code CopyBytes(const FileDescriptor& source, const FileDescriptor& copy, off_t size)
{
    off_t copied = 0;
    ssize_t count = 0;
    do {
        count = ::sendfile(copy.Number(), source.Number(), &copied, longestTransfer);
        if (count < 0 && errno != EINTR)
            return LastError();
    } while (count != 0);
    return copied == size ? std::error_code() : std::make_error_code(std::errc::io_error);
}

/** The mode of new files. To ask for the umask, other threads would have to have none meanwhile. */
mode_t ModeByUmask()
{
    constexpr mode_t forAll = 0666;
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        unsigned umask = 0;
        if (std::sscanf(line.c_str(), "Umask: %o", &umask) == 1)
            return forAll & ~umask;
    }
    return S_IRUSR | S_IWUSR;
}

/** Gives `copy`, a new file, the bytes of `source`, and makes sure that they last. */
std::error_code CopyFile(const FileDescriptor& source, const FileDescriptor& copy)
{
    struct stat status;
    if (::fstat(source.Number(), &status) != 0)
        return LastError();
    if (const std::error_code failure = CopyBytes(source, copy, status.st_size))
        return failure;
    // Not every file system knows permissions: there, the mode that it gives has to do.
    if (::fchmod(copy.Number(), ModeByUmask()) != 0)
        qCWarning(servicesLog) << "cannot set a file's permissions:"
                               << LastError().message().c_str();
    return ::fsync(copy.Number()) == 0 ? std::error_code() : LastError();
}

/**
 * Copies into a file that has no name before it is complete, so that nothing is left if the process
 * is killed. Answers "not supported" where such files cannot be made, or not be named.
 */
std::error_code CopyThroughUnnamedFile(const FileDescriptor& source, const std::string& to)
{
    const FileDescriptor copy(
        ::open(FolderOf(to).c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!copy)
        return std::make_error_code(std::errc::not_supported);
    if (const std::error_code failure = CopyFile(source, copy))
        return failure;
    const std::string unnamed = "/proc/self/fd/" + std::to_string(copy.Number());
    if (::linkat(AT_FDCWD, unnamed.c_str(), AT_FDCWD, to.c_str(), AT_SYMLINK_FOLLOW) == 0)
        return {};
    return std::make_error_code(errno == EEXIST ? std::errc::file_exists
                                                : std::errc::not_supported);
}

std::string NameOf(const SessionFolder& session)
{
    return std::filesystem::path(session.Path()).filename().native();
}

/** Puts what lies at the first path in place at the second one. */
using Placing = std::function<std::error_code(const std::string&, const std::string&)>;

std::error_code CopyThroughHiddenFile(const FileDescriptor& source, const std::string& to,
                                      const std::string& session, const Placing& place)
{
    HiddenFile hidden(FolderOf(to), session);
    if (!hidden.Descriptor())
        return LastError();
    std::error_code failure = CopyFile(source, hidden.Descriptor());
    if (!failure)
        failure = place(hidden.Path(), to);
    if (!failure)
        hidden.Keep();
    return failure;
}

void FlushFolder(const std::string& folder)
{
    const FileDescriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!opened || ::fsync(opened.Number()) != 0)
        LogFailure("cannot flush the folder", folder, LastError());
}

std::error_code MoveAcrossVolumes(const std::string& from, const std::string& to,
                                  const std::string& session)
{
    // A taken name is told before bytes are copied in vain; what comes later is not replaced
    // either.
    if (IsThere(to))
        return std::make_error_code(std::errc::file_exists);
    const FileDescriptor source(::open(from.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (!source)
        return LastError();
    std::error_code failure = CopyThroughUnnamedFile(source, to);
    if (failure == std::errc::not_supported)
        failure = CopyThroughHiddenFile(source, to, session, MoveWithinVolume);
    if (failure)
        return failure;
    FlushFolder(FolderOf(to));
    RemoveSource(from);
    return {};
}

std::error_code MoveFile(const std::string& from, const std::string& to, const std::string& session)
{
    if (HoldsNul(from) || HoldsNul(to))
        return std::make_error_code(std::errc::invalid_argument);
    if (const std::error_code failure = RequireRegularFile(from))
        return failure;
    const std::error_code failure = MoveWithinVolume(from, to);
    return failure == std::errc::cross_device_link ? MoveAcrossVolumes(from, to, session) : failure;
}

std::error_code Rename(const std::string& from, const std::string& to)
{
    return ::rename(from.c_str(), to.c_str()) == 0 ? std::error_code() : LastError();
}

std::error_code ReplaceAcrossVolumes(const std::string& from, const std::string& to,
                                     const std::string& session,
                                     const std::function<bool()>& isStillWanted)
{
    const auto replace = [&isStillWanted](const std::string& hidden, const std::string& target) {
        return isStillWanted() ? Rename(hidden, target)
                               : std::make_error_code(std::errc::file_exists);
    };
    const FileDescriptor source(::open(from.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (!source)
        return LastError();
    if (const auto failure = CopyThroughHiddenFile(source, to, session, replace))
        return failure;
    FlushFolder(FolderOf(to));
    RemoveSource(from);
    return {};
}

std::error_code ReplaceFile(const std::string& from, const std::string& to,
                            const std::string& session, const std::function<bool()>& isStillWanted)
{
    if (HoldsNul(from) || HoldsNul(to))
        return std::make_error_code(std::errc::invalid_argument);
    if (const std::error_code failure = RequireRegularFile(from))
        return failure;
    const std::error_code failure = Rename(from, to);
    return failure == std::errc::cross_device_link
               ? ReplaceAcrossVolumes(from, to, session, isStillWanted)
               : failure;
}

std::error_code MakeFolder(const std::string& path)
{
    if (HoldsNul(path))
        return std::make_error_code(std::errc::invalid_argument);
    return ::mkdir(path.c_str(), S_IRWXU) == 0 ? std::error_code() : LastError();
}

std::string WithoutTrailingSeparators(std::string path)
{
    path.erase(path.find_last_not_of('/') + 1);
    return path;
}

/** Whether `path` itself is a folder: no link, and not another folder's "." or "..". */
bool NamesAFolder(const std::string& path)
{
    const std::string name = path.substr(path.rfind('/') + 1);
    struct stat status;
    return !HoldsNul(path) && name != "." && name != ".." && ::lstat(path.c_str(), &status) == 0 &&
           S_ISDIR(status.st_mode);
}

/** Whether `folder` is the session folder or one of those that it lies in, under whatever path. */
bool HoldsSession(const std::string& folder, const SessionFolder& session)
{
    std::error_code ignored;
    std::filesystem::path held = session.Path();
    while (!std::filesystem::equivalent(folder, held, ignored)) {
        if (held == held.root_path())
            return false;
        held = held.parent_path();
    }
    return true;
}

/** Whether there is a session folder; says where there is none. */
bool HasFolder(const std::shared_ptr<const SessionFolder>& session)
{
    if (!session)
        qCWarning(servicesLog) << "there is no folder for temporary files: it could not be made";
    return session != nullptr;
}

} // namespace

LocalFileSystem::LocalFileSystem(std::shared_ptr<const SessionFolder> session)
    : session(std::move(session))
{
}

ioPath LocalFileSystem::GetTempFolder()
{
    // Nothing can be made below a device.
    return ioPath(HasFolder(session) ? session->Path() : "/dev/null");
}

bool LocalFileSystem::RemoveFolder(const ioPath& folder)
{
    return FalseWhenThrown([&] {
        if (!HasFolder(session))
            return false;
        // A link with a separator behind it is the folder that it points to.
        const std::string path = WithoutTrailingSeparators(folder.utf8string());
        if (NamesAFolder(path) && !HoldsSession(path, *session))
            return RemoveTree(path);
        LogFailure("refuses to remove", path, std::make_error_code(std::errc::invalid_argument));
        return false;
    });
}

bool LocalFileSystem::Exists(const ioPath& path)
{
    return FalseWhenThrown([&] {
        const std::string text = path.utf8string();
        return !HoldsNul(text) && IsThere(text);
    });
}

bool LocalFileSystem::Move(const ioPath& from, const ioPath& to)
{
    return FalseWhenThrown([&] {
        if (!HasFolder(session))
            return false;
        const std::error_code failure =
            MoveFile(from.utf8string(), to.utf8string(), NameOf(*session));
        if (failure)
            qCWarning(servicesLog) << "cannot move" << Text(from.utf8string()) << "to"
                                   << Text(to.utf8string()) << failure.message().c_str();
        errno = failure.value();
        return !failure;
    });
}

bool LocalFileSystem::Replace(const ioPath& from, const ioPath& to,
                              const std::function<bool()>& isStillWanted)
{
    return FalseWhenThrown([&] {
        if (!HasFolder(session))
            return false;
        const std::error_code failure =
            ReplaceFile(from.utf8string(), to.utf8string(), NameOf(*session), isStillWanted);
        if (failure)
            LogFailure("cannot replace", to.utf8string(), failure);
        errno = failure.value();
        return !failure;
    });
}

std::vector<std::string> LocalFileSystem::Sweep(const std::string& folder)
{
    return SweepHiddenFiles(folder);
}

bool LocalFileSystem::CreateFolder(const ioPath& folder)
{
    return FalseWhenThrown([&] {
        if (!HasFolder(session))
            return false;
        const std::error_code failure = MakeFolder(folder.utf8string());
        if (failure)
            LogFailure("cannot create", folder.utf8string(), failure);
        return !failure;
    });
}

} // namespace Korvel::PDF
