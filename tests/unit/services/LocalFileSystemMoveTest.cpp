#include "FileTestTools.h"
#include "LocalFileSystem.h"
#include "SessionFolder.h"
#include "SystemCalls.h"

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <QTemporaryDir>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace Korvel::PDF::Test {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

enum class Volume { Disk, Memory };

/** One of the ways that a file can go, and what has to fail for it to go that way. */
struct Way
{
    const char* name;
    Volume from;
    Volume to;
    std::vector<std::pair<SystemCall SystemCalls::*, int>> failing;
};

const Way renaming{"Renaming", Volume::Disk, Volume::Disk, {}};
const Way linkingForWantOfTheFlag{"LinkingWhereRenamingMayReplace",
                                  Volume::Disk,
                                  Volume::Disk,
                                  {{&SystemCalls::renameWithoutReplacing, EINVAL}}};
const Way linkingForWantOfTheCall{"LinkingOnAnOldSystem",
                                  Volume::Memory,
                                  Volume::Memory,
                                  {{&SystemCalls::renameWithoutReplacing, ENOSYS}}};
const Way unnamedToMemory{"UnnamedFileInMemory", Volume::Disk, Volume::Memory, {}};
const Way unnamedToDisk{"UnnamedFileOnDisk", Volume::Memory, Volume::Disk, {}};
const Way hidden{"HiddenFileWhereNoneIsUnnamed",
                 Volume::Memory,
                 Volume::Disk,
                 {{&SystemCalls::makeUnnamedFile, EOPNOTSUPP}}};
const Way hiddenForWantOfANaming{"HiddenFileWhereUnnamedOnesStaySo",
                                 Volume::Disk,
                                 Volume::Memory,
                                 {{&SystemCalls::nameUnnamedFile, ENOENT}}};
const Way hiddenAndLinked{
    "HiddenFileOnAnOldSystem",
    Volume::Memory,
    Volume::Disk,
    {{&SystemCalls::makeUnnamedFile, EISDIR}, {&SystemCalls::renameWithoutReplacing, ENOSYS}}};

void PrintTo(const Way& way, std::ostream* stream)
{
    *stream << way.name;
}

std::string NameOf(const testing::TestParamInfo<Way>& way)
{
    return way.param.name;
}

/** Bytes that repeat nowhere soon. */
std::string Content(std::size_t size)
{
    std::string content(size, '\0');
    unsigned state = 1;
    for (char& byte : content)
        byte = char((state = state * 1103515245 + 12345) >> 16);
    return content;
}

/** All that would change if something were written over what is at `path`. */
std::string Describe(const std::string& path)
{
    struct stat status = {};
    ::lstat(path.c_str(), &status);
    std::string text = std::to_string(status.st_ino) + " " + std::to_string(status.st_mode) + " " +
                       std::to_string(status.st_size) + " " + std::to_string(status.st_nlink);
    if (S_ISLNK(status.st_mode))
        text += std::filesystem::read_symlink(path).native();
    if (S_ISREG(status.st_mode))
        text += ReadFile(path);
    return text;
}

/** The first of report.pdf, report(2).pdf, ... at which nothing is. */
std::string NextFreeReport(LocalFileSystem& fileSystem, const std::string& folder)
{
    std::string file = folder + "/report.pdf";
    for (int number = 2; fileSystem.Exists(file); ++number)
        file = folder + "/report(" + std::to_string(number) + ").pdf";
    return file;
}

/** Moves as callers do who find a free name first, and look again when another was faster. */
bool MoveToAFreeName(LocalFileSystem& fileSystem, const std::string& from,
                     const std::string& folder)
{
    for (int attempt = 0; attempt < 10000; ++attempt) {
        if (fileSystem.Move(from, NextFreeReport(fileSystem, folder)))
            return true;
    }
    return false;
}

} // namespace

/** A move over every way, from one folder into another. */
class MoveTest : public testing::TestWithParam<Way>
{
protected:
    void SetUp() override
    {
        std::string error;
        fileSystem = std::make_unique<LocalFileSystem>(
            SessionFolder::Create(disk.path().toStdString(), error));
        std::filesystem::create_directory(fromFolder);
        std::filesystem::create_directory(toFolder);
        if (GetParam().from != GetParam().to && VolumeOf(fromFolder) == VolumeOf(toFolder))
            GTEST_SKIP() << "the folder for temporary files and /dev/shm are one volume";
        for (const auto& [call, number] : GetParam().failing)
            (calls.*call).FailWith(number);
    }

    void TearDown() override
    {
        calls.beforeEach = nullptr;
        // QTemporaryDir misses names that are no text.
        std::filesystem::remove_all(fromFolder);
        std::filesystem::remove_all(toFolder);
    }

    const std::string& FolderOn(Volume volume) const
    {
        return volume == Volume::Disk ? diskFolder : memoryFolder;
    }

    bool Move() { return fileSystem->Move(from, to); }

    QTemporaryDir disk;
    QTemporaryDir memory{QStringLiteral("/dev/shm/move-test-XXXXXX")};
    const std::string diskFolder = disk.path().toStdString();
    const std::string memoryFolder = memory.path().toStdString();
    const std::string fromFolder = FolderOn(GetParam().from) + "/from";
    const std::string toFolder = FolderOn(GetParam().to) + "/to";
    const std::string from = fromFolder + "/result.png";
    const std::string to = toFolder + "/page-1.png";
    const std::string content = Content(300'001);
    std::unique_ptr<LocalFileSystem> fileSystem;
    SystemCalls calls;
};

INSTANTIATE_TEST_SUITE_P(EveryWay, MoveTest,
                         testing::Values(renaming, linkingForWantOfTheFlag, linkingForWantOfTheCall,
                                         unnamedToMemory, unnamedToDisk, hidden,
                                         hiddenForWantOfANaming, hiddenAndLinked),
                         NameOf);

TEST_P(MoveTest, BringsTheFileToItsTargetThatWay)
{
    WriteFile(from, content);
    EXPECT_TRUE(Move());
    EXPECT_TRUE(ReadFile(to) == content);
    EXPECT_THAT(NamesIn(fromFolder), IsEmpty());
    EXPECT_THAT(NamesIn(toFolder), ElementsAre("page-1.png"));
    for (const auto& [call, number] : GetParam().failing)
        EXPECT_GT((calls.*call).Failures(), 0) << "expected to fail with " << number;
}

TEST_P(MoveTest, BringsAnEmptyFile)
{
    WriteFile(from, "");
    EXPECT_TRUE(Move());
    EXPECT_EQ(ReadFile(to), "");
    EXPECT_TRUE(IsAnything(to));
    EXPECT_FALSE(IsAnything(from));
}

TEST_P(MoveTest, KeepsThePermissionsOnOneVolumeAndElseGivesThoseOfTheUmask)
{
    const bool isOneVolume = GetParam().from == GetParam().to;
    for (const mode_t mask : {0U, 022U, 027U, 077U}) {
        for (const mode_t mode : {0600U, 0644U, 0666U, 0400U, 0755U, 0777U, 04711U}) {
            const Umask umask(mask);
            WriteFile(from, content);
            ASSERT_EQ(::chmod(from.c_str(), mode), 0);
            ASSERT_TRUE(Move());
            EXPECT_EQ(ModeOf(to), isOneVolume ? mode : 0666 & ~mask) << "umask " << mask;
            std::filesystem::remove(to);
        }
    }
}

TEST_P(MoveTest, NeverReplacesOrTouchesWhatIsThere)
{
    const std::vector<std::pair<const char*, std::function<void()>>> targets{
        {"a file",
         [this] {
             WriteFile(to, "old");
         }},
        {"an empty file",
         [this] {
             WriteFile(to, "");
         }},
        {"an empty folder",
         [this] {
             std::filesystem::create_directory(to);
         }},
        {"a folder with content",
         [this] {
             std::filesystem::create_directories(to + "/below");
         }},
        {"a link to a file",
         [this] {
             std::filesystem::create_symlink("neighbour", to);
         }},
        {"a link to a folder",
         [this] {
             std::filesystem::create_directory_symlink(".", to);
         }},
        {"a dangling link",
         [this] {
             std::filesystem::create_symlink("missing", to);
         }},
        {"a link to the source",
         [this] {
             std::filesystem::create_symlink(from, to);
         }},
        {"a pipe", [this] {
             ::mkfifo(to.c_str(), 0600);
         }}};
    WriteFile(from, content);
    WriteFile(toFolder + "/neighbour", "neighbour");
    for (const auto& [what, make] : targets) {
        make();
        const std::string target = Describe(to);
        const std::string source = Describe(from);
        EXPECT_FALSE(Move()) << what;
        EXPECT_EQ(Describe(to), target) << what;
        EXPECT_EQ(Describe(from), source) << what;
        EXPECT_EQ(ReadFile(toFolder + "/neighbour"), "neighbour") << what;
        EXPECT_THAT(NamesIn(toFolder), ElementsAre("neighbour", "page-1.png")) << what;
        std::filesystem::remove_all(to);
    }
}

TEST_P(MoveTest, NeverReplacesWhatAppearsMeanwhile)
{
    WriteFile(from, content);
    calls.beforeEach = [this](const SystemCall&) {
        WriteFile(to, "another program's");
    };
    EXPECT_FALSE(Move());
    EXPECT_EQ(ReadFile(to), "another program's");
    EXPECT_TRUE(ReadFile(from) == content);
    EXPECT_THAT(NamesIn(toFolder), ElementsAre("page-1.png"));
}

TEST_P(MoveTest, ShowsTheTargetWholeOrNotAtAll)
{
    WriteFile(from, content);
    calls.longestCopy = 50'000;
    int steps = 0;
    calls.beforeEach = [&](const SystemCall&) {
        ++steps;
        for (const std::string& name : NamesIn(toFolder)) {
            if (name.front() != '.') {
                EXPECT_TRUE(ReadFile(toFolder + "/" + name) == content) << "before step " << steps;
            }
        }
    };
    EXPECT_TRUE(Move());
    EXPECT_GE(steps, GetParam().from == GetParam().to ? 1 : 10);
}

TEST_P(MoveTest, ShowsAWatcherTheTargetWholeOrNotAtAll)
{
    WriteFile(from, Content(32'000'000));
    const auto size = std::filesystem::file_size(from);
    std::atomic<bool> watching = false;
    std::atomic<bool> moved = false;
    std::thread watcher([&] {
        std::error_code missing;
        do {
            const auto seen = std::filesystem::file_size(to, missing);
            if (!missing) {
                EXPECT_EQ(seen, size);
            }
            watching = true;
        } while (!moved);
    });
    while (!watching)
        std::this_thread::yield();
    EXPECT_TRUE(Move());
    moved = true;
    watcher.join();
    EXPECT_EQ(std::filesystem::file_size(to), size);
}

TEST_P(MoveTest, AMissingTargetFolderFails)
{
    WriteFile(from, content);
    EXPECT_FALSE(fileSystem->Move(from, toFolder + "/missing/page-1.png"));
    EXPECT_FALSE(fileSystem->Move(from, toFolder + "/missing/"));
    EXPECT_FALSE(fileSystem->Move(from, toFolder + "/"));
    EXPECT_FALSE(fileSystem->Move(from, toFolder));
    EXPECT_TRUE(ReadFile(from) == content);
    EXPECT_THAT(NamesIn(toFolder), IsEmpty());
}

TEST_P(MoveTest, TakesNamesAsTheyAre)
{
    const std::vector<std::string> names{"Seite 1 – Übersicht.png",
                                         "ページ.png",
                                         "-rf",
                                         "*?[a]",
                                         "two\nlines",
                                         ".hidden",
                                         "not utf-8 \xe4\xff",
                                         "C:\\page",
                                         std::string(255, 'x')};
    for (const std::string& name : names) {
        WriteFile(fromFolder + "/" + name, name);
        EXPECT_TRUE(fileSystem->Move(fromFolder + "/" + name, toFolder + "/" + name)) << name;
        EXPECT_EQ(ReadFile(toFolder + "/" + name), name);
        std::filesystem::remove(toFolder + "/" + name);
    }
    WriteFile(from, content);
    EXPECT_FALSE(fileSystem->Move(from, toFolder + "/" + std::string(256, 'x')));
    EXPECT_FALSE(fileSystem->Move(from, toFolder + "/" + std::string(100'000, 'x')));
    EXPECT_TRUE(ReadFile(from) == content);
    EXPECT_THAT(NamesIn(toFolder), IsEmpty());
}

TEST_P(MoveTest, TakesPathsRelativeToTheWorkingFolder)
{
    WriteFile(from, content);
    const WorkingFolder here(toFolder);
    EXPECT_TRUE(fileSystem->Move(from, ioPath("page-1.png")));
    EXPECT_TRUE(ReadFile(to) == content);
}

TEST_P(MoveTest, ProcessesThatWantOneNameLoseAndReplaceNothing)
{
    constexpr int processes = 8;
    constexpr int filesOfEach = 10;
    Pipe gate;
    std::vector<std::unique_ptr<ForkedProcess>> movers;
    for (int i = 0; i < processes; ++i)
        movers.push_back(std::make_unique<ForkedProcess>([this, &gate, i] {
            const ServicesMessages quiet;
            gate.WaitForEnd();
            int failed = 0;
            for (int file = 0; file < filesOfEach; ++file) {
                const std::string name = std::to_string(i) + "-" + std::to_string(file);
                WriteFile(fromFolder + "/" + name, name + content);
                failed += !MoveToAFreeName(*fileSystem, fromFolder + "/" + name, toFolder);
            }
            return failed;
        }));
    gate.CloseWritingEnd();
    for (const auto& mover : movers)
        EXPECT_EQ(mover->Wait(), 0);
    std::set<std::string> contents;
    for (const std::string& name : NamesIn(toFolder))
        contents.insert(ReadFile(toFolder + "/" + name));
    EXPECT_EQ(contents.size(), std::size_t(processes * filesOfEach));
    EXPECT_EQ(NamesIn(toFolder).size(), std::size_t(processes * filesOfEach));
    for (const std::string& text : contents)
        EXPECT_TRUE(text.substr(text.size() - content.size()) == content);
    EXPECT_THAT(NamesIn(fromFolder), IsEmpty());
}

TEST_P(MoveTest, ThreadsThatWantOneNameLoseAndReplaceNothing)
{
    const ServicesMessages quiet;
    for (int i = 0; i < 32; ++i)
        WriteFile(fromFolder + "/" + std::to_string(i), std::to_string(i));
    std::atomic<int> next = 0;
    std::atomic<int> moved = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int file = next++; file < 32; file = next++)
                moved +=
                    MoveToAFreeName(*fileSystem, fromFolder + "/" + std::to_string(file), toFolder);
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(moved, 32);
    std::set<std::string> contents;
    for (const std::string& name : NamesIn(toFolder))
        contents.insert(ReadFile(toFolder + "/" + name));
    EXPECT_EQ(contents.size(), 32u);
}

/** A move through a file without a name. */
class UnnamedMoveTest : public MoveTest
{
};

INSTANTIATE_TEST_SUITE_P(EveryDirection, UnnamedMoveTest,
                         testing::Values(unnamedToMemory, unnamedToDisk), NameOf);

TEST_P(UnnamedMoveTest, WouldLeaveNothingInTheTargetFolderIfItWereKilled)
{
    WriteFile(from, content);
    calls.longestCopy = 50'000;
    calls.beforeEach = [this](const SystemCall&) {
        if (!IsAnything(to)) {
            EXPECT_THAT(NamesIn(toFolder), IsEmpty());
        }
    };
    EXPECT_TRUE(Move());
}

TEST_P(UnnamedMoveTest, DoesNotCopyAgainForATargetThatAppearsMeanwhile)
{
    WriteFile(from, content);
    calls.beforeEach = [this](const SystemCall& call) {
        if (&call == &calls.flush) {
            WriteFile(to, "another program's");
            calls.copyBytes.FailWith(EIO);
        }
    };
    EXPECT_FALSE(Move());
    EXPECT_EQ(calls.copyBytes.Failures(), 0);
}

/** A move whose last step removes the source. */
class RemovingMoveTest : public MoveTest
{
};

INSTANTIATE_TEST_SUITE_P(EveryWayButRenaming, RemovingMoveTest,
                         testing::Values(linkingForWantOfTheFlag, linkingForWantOfTheCall,
                                         unnamedToMemory, unnamedToDisk, hidden,
                                         hiddenForWantOfANaming, hiddenAndLinked),
                         NameOf);

TEST_P(RemovingMoveTest, WhatCannotBeRemovedAtItsSourceIsMovedNevertheless)
{
    WriteFile(from, content);
    calls.unlink.FailWith(EACCES);
    const ServicesMessages log;
    EXPECT_TRUE(Move());
    EXPECT_TRUE(ReadFile(to) == content);
    EXPECT_TRUE(ReadFile(from) == content);
    EXPECT_THAT(log.Texts(),
                Contains(testing::AllOf(HasSubstr(from), HasSubstr("Permission denied"))));
}

/** A move that has to copy. */
class CopyingMoveTest : public MoveTest
{
protected:
    void ExpectThatNothingHasChanged() const
    {
        EXPECT_TRUE(ReadFile(from) == content);
        EXPECT_THAT(NamesIn(toFolder), IsEmpty());
    }
};

INSTANTIATE_TEST_SUITE_P(EveryWayAcrossVolumes, CopyingMoveTest,
                         testing::Values(unnamedToMemory, unnamedToDisk, hidden,
                                         hiddenForWantOfANaming, hiddenAndLinked),
                         NameOf);

TEST_P(CopyingMoveTest, ACopyThatFailsLeavesNothingBehind)
{
    WriteFile(from, content);
    calls.longestCopy = 50'000;
    for (const int error : {ENOSPC, EDQUOT, EIO, EFBIG, EINVAL}) {
        const ServicesMessages log;
        calls.copyBytes.FailWith(error, 3);
        EXPECT_FALSE(Move());
        ExpectThatNothingHasChanged();
        EXPECT_THAT(log.Texts(),
                    ElementsAre(testing::AllOf(HasSubstr(from), HasSubstr(to),
                                               HasSubstr(std::generic_category().message(error)))));
    }
}

TEST_P(CopyingMoveTest, ACopyThatDoesNotReachTheDiskLeavesNothingBehind)
{
    WriteFile(from, content);
    calls.flush.FailWith(EIO);
    EXPECT_FALSE(Move());
    ExpectThatNothingHasChanged();
}

TEST_P(CopyingMoveTest, ASourceThatShrinksMeanwhileIsNotTakenForWhole)
{
    WriteFile(from, content);
    calls.longestCopy = 50'000;
    calls.beforeEach = [this](const SystemCall& call) {
        if (&call == &calls.copyBytes) {
            ASSERT_EQ(::truncate(from.c_str(), 120'000), 0);
        }
    };
    EXPECT_FALSE(Move());
    EXPECT_TRUE(ReadFile(from) == content.substr(0, 120'000));
    EXPECT_THAT(NamesIn(toFolder), IsEmpty());
}

TEST_P(CopyingMoveTest, ASourceThatBecomesALinkMeanwhileIsNotFollowed)
{
    WriteFile(from, content);
    WriteFile(fromFolder + "/other", "other");
    calls.beforeEach = [this](const SystemCall& call) {
        if (&call == &calls.renameWithoutReplacing) {
            std::filesystem::remove(from);
            std::filesystem::create_symlink("other", from);
        }
    };
    EXPECT_FALSE(Move());
    EXPECT_THAT(NamesIn(toFolder), IsEmpty());
}

TEST_P(CopyingMoveTest, ACopyThatIsInterruptedGoesOn)
{
    WriteFile(from, content);
    calls.longestCopy = 50'000;
    calls.copyBytes.FailOnceWith(EINTR);
    EXPECT_TRUE(Move());
    EXPECT_EQ(calls.copyBytes.Failures(), 1);
    EXPECT_TRUE(ReadFile(to) == content);
}

TEST_P(CopyingMoveTest, AVolumeWithoutPermissionsTakesTheFile)
{
    WriteFile(from, content);
    calls.setMode.FailWith(EPERM);
    EXPECT_TRUE(Move());
    EXPECT_TRUE(ReadFile(to) == content);
}

TEST_P(CopyingMoveTest, AFolderThatCannotBeFlushedTakesTheFile)
{
    WriteFile(from, content);
    calls.beforeEach = [this](const SystemCall&) {
        if (IsAnything(to))
            calls.flush.FailWith(EINVAL);
    };
    EXPECT_TRUE(Move());
    EXPECT_TRUE(ReadFile(to) == content);
    EXPECT_FALSE(IsAnything(from));
}

TEST_P(CopyingMoveTest, ATargetThatIsThereIsFoundBeforeTheCopy)
{
    WriteFile(from, content);
    WriteFile(to, "old");
    calls.copyBytes.FailWith(EIO);
    EXPECT_FALSE(Move());
    EXPECT_EQ(calls.copyBytes.Failures(), 0);
}

TEST_P(CopyingMoveTest, ASourceThatMayNotBeReadStays)
{
    if (IsRoot())
        GTEST_SKIP() << "root may read everything";
    WriteFile(from, content);
    ASSERT_EQ(::chmod(from.c_str(), 0), 0);
    EXPECT_FALSE(Move());
    ASSERT_EQ(::chmod(from.c_str(), 0600), 0);
    ExpectThatNothingHasChanged();
}

TEST_P(CopyingMoveTest, AFolderThatMayNotBeWrittenStaysAsItIs)
{
    if (IsRoot())
        GTEST_SKIP() << "root may write everywhere";
    WriteFile(from, content);
    ASSERT_EQ(::chmod(toFolder.c_str(), 0500), 0);
    EXPECT_FALSE(Move());
    ExpectThatNothingHasChanged();
}

TEST_P(CopyingMoveTest, AFolderThatMayNotBeListedTakesTheFile)
{
    WriteFile(from, content);
    ASSERT_EQ(::chmod(toFolder.c_str(), 0300), 0);
    EXPECT_TRUE(Move());
    ASSERT_EQ(::chmod(toFolder.c_str(), 0700), 0);
    EXPECT_TRUE(ReadFile(to) == content);
}

TEST_P(CopyingMoveTest, AFullVolumeStaysAsItIs)
{
    if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr))
        GTEST_SKIP() << "may not mount a small volume";
    ASSERT_EQ(::mount("none", toFolder.c_str(), "tmpfs", 0, "size=128k"), 0);
    struct statvfs before = {};
    struct statvfs after = {};
    WriteFile(from, content);
    ASSERT_EQ(::statvfs(toFolder.c_str(), &before), 0);
    EXPECT_FALSE(Move());
    ExpectThatNothingHasChanged();
    ASSERT_EQ(::statvfs(toFolder.c_str(), &after), 0);
    EXPECT_EQ(after.f_bfree, before.f_bfree);
    EXPECT_EQ(after.f_ffree, before.f_ffree);
    ASSERT_EQ(::umount2(toFolder.c_str(), MNT_DETACH), 0);
}

} // namespace Korvel::PDF::Test
