#include "LandlockRules.h"

#include "FileDescriptor.h"
#include "Sanitizers.h"

#include <cstdint>
#include <future>

#include <QThreadPool>

#include <fcntl.h>
#include <linux/landlock.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Korvel::Worker {

namespace {

// The system's header may be older than the kernel, which takes a longer record than it knows as
// long as the rest is zero.
struct Handled
{
    std::uint64_t files = 0;
    std::uint64_t network = 0;
    std::uint64_t scopes = 0;
};

constexpr std::uint64_t toTruncate = 1U << 14;
constexpr std::uint64_t toReadFolder = LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_READ_DIR;
constexpr std::uint64_t toWrite =
    LANDLOCK_ACCESS_FS_WRITE_FILE | LANDLOCK_ACCESS_FS_MAKE_REG | LANDLOCK_ACCESS_FS_REMOVE_FILE;

// Qt PDF looks for fonts in the first three; what lies there may be links to those of TeX.
constexpr const char* readFolders[] = {
    "/usr/share/fonts",
    "/usr/share/X11/fonts",
    "/usr/local/share/fonts",
    "/usr/share/texmf/fonts",
    "/usr/share/texlive/texmf-dist/fonts",
#if IS_SANITIZED
    "/proc" // LeakSanitizer
#endif
};

/** The version of the kernel's Landlock; 0 where there is none. */
int LandlockVersion()
{
    const long version = ::syscall(SYS_landlock_create_ruleset, nullptr, std::size_t(0),
                                   LANDLOCK_CREATE_RULESET_VERSION);
    return version < 0 ? 0 : int(version);
}

/** The rights to files that this version knows; each has added to those of the one before. */
std::uint64_t RightsToFiles(int version)
{
    const int count = version >= 5 ? 16 : version >= 3 ? 15 : version == 2 ? 14 : 13;
    return (std::uint64_t(1) << count) - 1;
}

Handled WhatIsLimited(int version, bool isWritingLimited)
{
    Handled handled;
    handled.files = RightsToFiles(version);
    if (!isWritingLimited)
        handled.files &= ~(toWrite | toTruncate);
    handled.network = version >= 4 ? 3 : 0; // binding and connecting
    handled.scopes = version >= 6 ? 3 : 0;  // abstract sockets and signals
    return handled;
}

/** Allows what lies at a path; there is nothing to allow where that cannot be opened. */
void Allow(int rules, const std::string& path, mode_t type, std::uint64_t rights)
{
    const PDF::FileDescriptor file(::open(path.c_str(), O_PATH | O_CLOEXEC));
    struct stat status = {};
    if (!file || ::fstat(file.Number(), &status) != 0 || (status.st_mode & S_IFMT) != type)
        return;
    const landlock_path_beneath_attr rule = {rights, file.Number()};
    ::syscall(SYS_landlock_add_rule, rules, LANDLOCK_RULE_PATH_BENEATH, &rule, 0);
}

bool Restrict(int rules)
{
    return ::syscall(SYS_landlock_restrict_self, rules, 0) == 0;
}

/** Threads share their memory: one that were not restricted would be a way out for all. */
bool RestrictThreadOfPool(int rules)
{
    std::promise<bool> done;
    QThreadPool::globalInstance()->start([&] { done.set_value(Restrict(rules)); });
    return done.get_future().get();
}

} // namespace

bool LimitFileAccess(const std::vector<std::string>& inputs, const std::string& folder,
                     bool hasThreadOfPool)
{
    const int version = LandlockVersion();
    if (version == 0)
        return false;
    const Handled handled = WhatIsLimited(version, !folder.empty());
    const PDF::FileDescriptor ruleset(
        int(::syscall(SYS_landlock_create_ruleset, &handled, sizeof(handled), 0)));
    const int rules = ruleset.Number();
    for (const std::string& input : inputs)
        Allow(rules, input, S_IFREG, LANDLOCK_ACCESS_FS_READ_FILE);
    for (const char* const fonts : readFolders)
        Allow(rules, fonts, S_IFDIR, toReadFolder);
    if (!folder.empty())
        Allow(rules, folder, S_IFDIR, toWrite);
    return (!hasThreadOfPool || RestrictThreadOfPool(rules)) && Restrict(rules);
}

} // namespace Korvel::Worker
