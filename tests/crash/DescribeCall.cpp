#include "Tracer.h"

#include <cerrno>
#include <climits>
#include <map>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Korvel::Failing {

namespace {

/** Which of its arguments name files, and how. */
struct Form
{
    const char* name;
    std::vector<int> descriptors;
    /** A folder's descriptor, or -1 for the working folder, and the path from there. */
    std::vector<std::pair<int, int>> paths;
};

const std::map<long, Form>& Forms()
{
    static const std::map<long, Form> forms{
        {SYS_open, {"open", {}, {{-1, 0}}}},
        {SYS_openat, {"openat", {}, {{0, 1}}}},
        {SYS_stat, {"stat", {}, {{-1, 0}}}},
        {SYS_lstat, {"lstat", {}, {{-1, 0}}}},
        {SYS_newfstatat, {"newfstatat", {}, {{0, 1}}}},
        {SYS_statx, {"statx", {}, {{0, 1}}}},
        {SYS_access, {"access", {}, {{-1, 0}}}},
        {SYS_faccessat, {"faccessat", {}, {{0, 1}}}},
        {SYS_faccessat2, {"faccessat2", {}, {{0, 1}}}},
        {SYS_readlink, {"readlink", {}, {{-1, 0}}}},
        {SYS_mkdir, {"mkdir", {}, {{-1, 0}}}},
        {SYS_mkdirat, {"mkdirat", {}, {{0, 1}}}},
        {SYS_rmdir, {"rmdir", {}, {{-1, 0}}}},
        {SYS_unlink, {"unlink", {}, {{-1, 0}}}},
        {SYS_unlinkat, {"unlinkat", {}, {{0, 1}}}},
        {SYS_rename, {"rename", {}, {{-1, 0}, {-1, 1}}}},
        {SYS_renameat2, {"renameat2", {}, {{0, 1}, {2, 3}}}},
        {SYS_link, {"link", {}, {{-1, 0}, {-1, 1}}}},
        {SYS_linkat, {"linkat", {}, {{0, 1}, {2, 3}}}},
        {SYS_chmod, {"chmod", {}, {{-1, 0}}}},
        {SYS_fchmod, {"fchmod", {0}, {}}},
        {SYS_fstat, {"fstat", {0}, {}}},
        {SYS_read, {"read", {0}, {}}},
        {SYS_pread64, {"pread64", {0}, {}}},
        {SYS_write, {"write", {0}, {}}},
        {SYS_writev, {"writev", {0}, {}}},
        {SYS_pwrite64, {"pwrite64", {0}, {}}},
        {SYS_lseek, {"lseek", {0}, {}}},
        {SYS_ftruncate, {"ftruncate", {0}, {}}},
        {SYS_fsync, {"fsync", {0}, {}}},
        {SYS_fdatasync, {"fdatasync", {0}, {}}},
        {SYS_flock, {"flock", {0}, {}}},
        {SYS_fcntl, {"fcntl", {0}, {}}},
        {SYS_getdents64, {"getdents64", {0}, {}}},
        {SYS_sendfile, {"sendfile", {0, 1}, {}}},
        {SYS_dup2, {"dup2", {0}, {}}},
        {SYS_mmap, {"mmap", {4}, {}}},
        {SYS_close, {"close", {0}, {}}},
        {SYS_pipe2, {"pipe2 pipe:", {}, {}}},
        {SYS_socketpair, {"socketpair socket:", {}, {}}},
        {SYS_recvfrom, {"recvfrom", {0}, {}}},
        {SYS_recvmsg, {"recvmsg", {0}, {}}},
        {SYS_sendto, {"sendto", {0}, {}}},
        {SYS_sendmsg, {"sendmsg", {0}, {}}},
        {SYS_inotify_init1, {"inotify_init1", {}, {}}},
    };
    return forms;
}

std::string TextAt(pid_t thread, std::uint64_t address)
{
    std::string text;
    while (text.size() < PATH_MAX) {
        errno = 0;
        const long word = ::ptrace(PTRACE_PEEKDATA, thread, address + text.size(), nullptr);
        if (errno != 0)
            return text;
        for (std::size_t i = 0; i < sizeof word; ++i) {
            const char byte = char(word >> (8 * i));
            if (byte == 0)
                return text;
            text += byte;
        }
    }
    return text;
}

std::string TargetOf(pid_t thread, const std::string& link)
{
    char target[PATH_MAX];
    const std::string path = "/proc/" + std::to_string(thread) + "/" + link;
    const ssize_t length = ::readlink(path.c_str(), target, sizeof target);
    return length < 0 ? std::string() : std::string(target, std::size_t(length));
}

std::string FileOf(pid_t thread, std::uint64_t descriptor)
{
    return TargetOf(thread, "fd/" + std::to_string(int(descriptor)));
}

std::string PathOf(const Call& call, const std::pair<int, int>& path)
{
    const std::string text = TextAt(call.thread, call.arguments[std::size_t(path.second)]);
    if (!text.empty() && text.front() == '/')
        return text;
    const bool isHere = path.first < 0 || int(call.arguments[std::size_t(path.first)]) == AT_FDCWD;
    const std::string folder = isHere
                                   ? TargetOf(call.thread, "cwd")
                                   : FileOf(call.thread, call.arguments[std::size_t(path.first)]);
    return text.empty() ? folder : folder + "/" + text;
}

} // namespace

std::string Describe(const Call& call)
{
    const auto form = Forms().find(call.number);
    if (form == Forms().end())
        return std::to_string(call.number);
    std::string text = form->second.name;
    for (const int descriptor : form->second.descriptors)
        text += " " + FileOf(call.thread, call.arguments[std::size_t(descriptor)]);
    for (const auto& path : form->second.paths)
        text += " " + PathOf(call, path);
    return text;
}

} // namespace Korvel::Failing
