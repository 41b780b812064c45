#include "SessionFolder.h"

#include "FileDescriptor.h"
#include "RemoveTree.h"
#include "ServicesLog.h"

#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Korvel::PDF {

namespace {

constexpr std::string_view sessionName = "pdfconvert-XXXXXX";
constexpr std::string_view namePrefix = "pdfconvert-";

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
    return ::fstat(folder.Number(), &status) == 0 && status.st_uid == ::geteuid() &&
           (status.st_mode & 07777) == sessionMode;
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
    return name.size() == sessionName.size() && name.compare(0, namePrefix.size(), namePrefix) == 0;
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

/** Locks a new folder before it marks it, so that no sweep ever finds it marked and free. */
std::error_code Hold(const FileDescriptor& folder)
{
    if (!folder || !Lock(folder) || ::fchmod(folder.Number(), sessionMode) != 0)
        return LastError();
    // Some file systems give every folder one and the same mode, and say nothing.
    return IsOwnSession(folder) ? std::error_code()
                                : std::make_error_code(std::errc::operation_not_supported);
}

/** Makes a new folder, its name from the pattern `path`, and holds it. */
FileDescriptor MakeHeld(std::string& path, std::error_code& failure)
{
    if (!::mkdtemp(path.data())) {
        failure = LastError();
        return FileDescriptor();
    }
    FileDescriptor folder = OpenFolder(path);
    failure = Hold(folder);
    if (failure)
        ::rmdir(path.c_str());
    return folder;
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
        std::string path = (folder / sessionName).native();
        FileDescriptor lock = failure ? FileDescriptor() : MakeHeld(path, failure);
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
