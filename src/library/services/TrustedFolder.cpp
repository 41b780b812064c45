#include "TrustedFolder.h"

#include "PathText.h"

#include <array>
#include <climits>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace Korvel::PDF {

namespace {

constexpr int mostLinks = 40; // as many as the kernel follows
constexpr std::size_t accountBuffer = 64UL * 1024;

/** Whom the system shows in place of users that this user namespace does not map; 0 for nobody. */
uid_t FindUnmappedOwner()
{
    uid_t overflow = 0;
    std::ifstream("/proc/sys/kernel/overflowuid") >> overflow;
    std::ifstream map("/proc/self/uid_map");
    unsigned long first = 0;
    unsigned long outside = 0;
    unsigned long count = 0;
    while (map >> first >> outside >> count) {
        if (overflow >= first && overflow - first < count)
            return 0;
    }
    return map.eof() ? overflow : 0;
}

bool IsTrustedOwner(uid_t owner)
{
    static const uid_t unmapped = FindUnmappedOwner();
    return owner == 0 || owner == ::geteuid() || owner == unmapped;
}

std::string UserName()
{
    std::vector<char> buffer(accountBuffer);
    passwd entry = {};
    passwd* found = nullptr;
    ::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found);
    return found ? found->pw_name : std::string();
}

/** Whether no other user is in the group, which is root's or the one of this user alone. */
bool IsTrustedGroup(gid_t group)
{
    std::vector<char> buffer(accountBuffer);
    ::group entry = {};
    ::group* found = nullptr;
    ::getgrgid_r(group, &entry, buffer.data(), buffer.size(), &found);
    if (!found)
        return false;
    const std::string user = UserName();
    bool isTrusted = group == 0 || found->gr_name == user;
    for (char** member = found->gr_mem; *member; ++member)
        isTrusted = isTrusted && (*member == user || *member == std::string("root"));
    return isTrusted;
}

/** Whether a list of access rights names users or groups beside those that the mode is of. */
bool HasAccessList(const FileDescriptor& folder)
{
    constexpr ssize_t withoutNames = 4 + 3 * 8;
    const std::string path = "/proc/self/fd/" + std::to_string(folder.Number());
    return ::getxattr(path.c_str(), "system.posix_acl_access", nullptr, 0) > withoutNames;
}

bool IsWritableByOthers(const FileDescriptor& folder, const struct stat& status)
{
    const bool isByGroup = (status.st_mode & S_IWGRP) != 0;
    return (status.st_mode & S_IWOTH) != 0 ||
           (isByGroup && (!IsTrustedGroup(status.st_gid) || HasAccessList(folder)));
}

/** Goes from the root to a folder, and looks at all on the way. */
class Walk
{
public:
    /** The reason why `path` cannot be reached, or be trusted; empty when it was reached. */
    std::string To(const std::string& path);

    TrustedFolder Reached() { return {std::move(folders.back().folder), Path()}; }

private:
    struct Folder
    {
        std::string name;
        FileDescriptor folder;
    };

    void Put(const std::string& path);
    std::string Path() const;
    std::string Enter(const std::string& name);
    std::string EnterFolder(const std::string& name, FileDescriptor entered);
    std::string Follow(const std::string& name, const FileDescriptor& link);

    std::vector<Folder> folders;
    /** Names that are still to be gone through, the last one first. */
    std::vector<std::string> ahead;
    int links = 0;
};

std::string Message(std::errc error)
{
    return std::make_error_code(error).message();
}

std::string Walk::To(const std::string& path)
{
    Put(path);
    std::string error = Enter("/");
    while (error.empty() && !ahead.empty()) {
        const std::string name = std::move(ahead.back());
        ahead.pop_back();
        if (name == ".." && folders.size() > 1)
            folders.pop_back();
        else if (!name.empty() && name != "." && name != "..")
            error = Enter(name);
    }
    return error;
}

/** Puts the names of `path` before those that are still to come. */
void Walk::Put(const std::string& path)
{
    std::vector<std::string> names;
    std::istringstream text(path);
    for (std::string name; std::getline(text, name, '/');)
        names.push_back(name);
    ahead.insert(ahead.end(), names.rbegin(), names.rend());
}

std::string Walk::Path() const
{
    std::string path;
    for (std::size_t i = 1; i < folders.size(); ++i)
        path += '/' + folders[i].name;
    return path.empty() ? "/" : path;
}

std::string Walk::Enter(const std::string& name)
{
    const int parent = folders.empty() ? AT_FDCWD : folders.back().folder.Number();
    const int flags = O_PATH | O_NOFOLLOW | O_CLOEXEC;
    // With O_DIRECTORY, what is mounted on demand is mounted.
    FileDescriptor folder(::openat(parent, name.c_str(), flags | O_DIRECTORY));
    if (folder)
        return EnterFolder(name, std::move(folder));
    if (errno != ENOTDIR)
        return LastError().message();
    return Follow(name, FileDescriptor(::openat(parent, name.c_str(), flags)));
}

std::string Walk::EnterFolder(const std::string& name, FileDescriptor entered)
{
    folders.push_back({name, std::move(entered)});
    const FileDescriptor& folder = folders.back().folder;
    struct stat status = {};
    if (::fstat(folder.Number(), &status) != 0)
        return LastError().message();
    if (!IsTrustedOwner(status.st_uid))
        return Path() + " belongs to another user";
    if ((status.st_mode & S_ISVTX) == 0 && IsWritableByOthers(folder, status))
        return "others may write to " + Path() + ", which has no sticky bit";
    return {};
}

std::string Walk::Follow(const std::string& name, const FileDescriptor& link)
{
    struct stat status = {};
    if (!link || ::fstat(link.Number(), &status) != 0)
        return LastError().message();
    if (!S_ISLNK(status.st_mode))
        return Message(std::errc::not_a_directory);
    if (!IsTrustedOwner(status.st_uid))
        return "the link " + (std::filesystem::path(Path()) / name).native() +
               " belongs to another user";
    std::array<char, PATH_MAX> target = {};
    const ssize_t length = ::readlinkat(link.Number(), "", target.data(), target.size());
    if (length < 0)
        return LastError().message();
    if (++links > mostLinks)
        return Message(std::errc::too_many_symbolic_link_levels);
    while (target.front() == '/' && folders.size() > 1)
        folders.pop_back();
    Put(std::string(target.data(), std::size_t(length)));
    return {};
}

/** A relative path is taken from the working folder, whose own path is gone through as well. */
std::string Absolute(const std::string& path, std::error_code& failure)
{
    if (path.empty() || HoldsNul(path))
        failure = std::make_error_code(std::errc::invalid_argument);
    return failure || path.front() == '/'
               ? path
               : std::filesystem::current_path(failure).native() + '/' + path;
}

} // namespace

TrustedFolder TrustedFolder::Open(const std::string& path, std::string& error)
{
    std::error_code failure;
    const std::string absolute = Absolute(path, failure);
    if (failure) {
        error = failure.message();
        return {};
    }
    Walk walk;
    error = walk.To(absolute);
    return error.empty() ? walk.Reached() : TrustedFolder();
}

} // namespace Korvel::PDF
