#include "HiddenFile.h"

#include "SessionName.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace Korvel::PDF {

namespace {

/** How often another name is tried after one whose file was swept away. */
constexpr int attempts = 100;
constexpr time_t oldAge = 3600; // seconds

bool IsRemoved(int file)
{
    struct stat status = {};
    return ::fstat(file, &status) == 0 && status.st_nlink == 0;
}

/** Whether a sweep came between the making of the file and its lock. */
bool IsSwept(int file)
{
    const bool isHeld = ::flock(file, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    return isHeld || IsRemoved(file);
}

/** Makes and locks a file, whose name goes to `path`. */
FileDescriptor Make(const std::string& form, std::string& path)
{
    for (int attempt = 1;; ++attempt) {
        path = form;
        FileDescriptor file(::mkostemp(path.data(), O_CLOEXEC));
        if (!file || attempt == attempts || !IsSwept(file.Number()))
            return file;
        ::unlink(path.c_str()); // should the sweep not have come to that
    }
}

/** Whether whoever locks a file in the folder is on this machine. */
bool HasLocksOfAll(int folder)
{
    constexpr std::array<long, 8> local{EXT4_SUPER_MAGIC,  XFS_SUPER_MAGIC,  BTRFS_SUPER_MAGIC,
                                        TMPFS_MAGIC,       F2FS_SUPER_MAGIC, OVERLAYFS_SUPER_MAGIC,
                                        MSDOS_SUPER_MAGIC, 0x2fc12fc1 /* ZFS */};
    struct statfs status = {};
    return ::fstatfs(folder, &status) == 0 &&
           std::find(local.begin(), local.end(), long(status.f_type)) != local.end();
}

/** Removes a file that was left by a process that was killed; whether it is gone now. */
bool RemoveIfAbandoned(int folder, const char* name, bool isLocal)
{
    // Without the right to write, a network folder would not lock it.
    const FileDescriptor file(
        ::openat(folder, name, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status = {};
    if (!file || ::fstat(file.Number(), &status) != 0 || !S_ISREG(status.st_mode) ||
        status.st_uid != ::geteuid())
        return false;
    const bool isOld = status.st_mtim.tv_sec + oldAge < std::time(nullptr);
    return (isLocal || isOld) && ::flock(file.Number(), LOCK_EX | LOCK_NB) == 0 &&
           ::unlinkat(folder, name, 0) == 0;
}

} // namespace

HiddenFile::HiddenFile(const std::string& folder, const std::string& session)
    : file(Make(folder + '/' + HiddenPrefix(session) + "XXXXXX", path))
{
    if (!file)
        path.clear();
}

HiddenFile::~HiddenFile()
{
    if (!path.empty())
        ::unlink(path.c_str());
}

std::vector<std::string> SweepHiddenFiles(const std::string& folder)
{
    std::vector<std::string> removed;
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(::opendir(folder.c_str()), ::closedir);
    if (!entries)
        return removed;
    const int opened = ::dirfd(entries.get());
    const bool isLocal = HasLocksOfAll(opened);
    while (const dirent* const entry = ::readdir(entries.get())) {
        const auto* const name = static_cast<const char*>(entry->d_name);
        if (IsHiddenName(name) && RemoveIfAbandoned(opened, name, isLocal))
            removed.push_back(folder + '/' + name);
    }
    return removed;
}

} // namespace Korvel::PDF
