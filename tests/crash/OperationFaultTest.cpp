#include "FileTestTools.h"
#include "Journal.h"
#include "JournalOptions.h"
#include "LocalFileSystem.h"
#include "OutputOptions.h"
#include "PageOptions.h"
#include "ResultFileSystem.h"
#include "SessionFolder.h"
#include "Stride.h"
#include "Strikes.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <memory>

#include <gmock/gmock.h>

#include <QTemporaryDir>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>

namespace Korvel::Failing {
namespace {

using namespace PDF::Test;
using PDF::IFileSystem;
using PDF::LocalFileSystem;
using PDF::SessionFolder;
using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

int WithoutRenameat2(const Call& call)
{
    return call.number == SYS_renameat2 ? ENOSYS : Go;
}

int WithoutUnnamedFiles(const Call& call)
{
    const bool isOne = call.number == SYS_openat && (call.arguments[2] & O_TMPFILE) == O_TMPFILE;
    return isOne ? EOPNOTSUPP : Go;
}

int WithoutEither(const Call& call)
{
    const int verdict = WithoutRenameat2(call);
    return verdict == Go ? WithoutUnnamedFiles(call) : verdict;
}

int OnAnyMachine(const Call&)
{
    return Go;
}

/** An operation on files, in a process of its own. */
struct Operation
{
    /** Makes what it finds. */
    std::function<void()> prepare;
    /** Carries it out; answers whether it was done. */
    std::function<bool()> operate;
    /** Looks at what is there now; is told the answer, or false where none was given. */
    std::function<void(bool done)> check;
    /** What the system does not know, whatever else fails. */
    std::function<int(const Call&)> machine = OnAnyMachine;
};

/** Strikes at every system call of one operation on files, in one run of it after the other. */
class OperationFaultTest : public testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    /** Lets each call fail, in every way. */
    void FailEverywhere(const Operation& operation);

    /** Ends the process before each call. */
    void KillEverywhere(const Operation& operation);

    /** Whether the strike was one on the very removal of what is left. */
    bool StruckRemoval() const;

    const QTemporaryDir here;
    const QTemporaryDir there{QStringLiteral("/dev/shm/fault-test-XXXXXX")};
    const std::string folder = std::filesystem::canonical(here.path().toStdString()).native();
    const std::string elsewhere = there.path().toStdString();
    std::string struck;
    int strikes = 0;

private:
    /** The calls that the operation makes when all is well. */
    std::vector<long> CallsOf(const Operation& operation) const;

    /** How the operation's process has ended. */
    int Run(const Operation& operation, const Strike& strike);

    int Trace(const Operation& operation, const std::function<int(const Call&)>& judge) const;

    const ServicesMessages quiet;
};

void OperationFaultTest::SetUp()
{
    if (!CanTrace())
        GTEST_SKIP() << "may not trace processes";
}

void OperationFaultTest::TearDown()
{
    std::printf("%d faults\n", strikes);
}

void OperationFaultTest::FailEverywhere(const Operation& operation)
{
    const std::vector<Strike> all = StrikesAt(CallsOf(operation));
    for (std::size_t i = 0; i < all.size(); i += std::size_t(Stride(1))) {
        const Strike& strike = all[i];
        const int code = Run(operation, strike);
        SCOPED_TRACE(struck + ", " + Describe(strike));
        ASSERT_THAT(code, AnyOf(0, 1)) << "neither done nor refused";
        operation.check(code == 0);
    }
}

void OperationFaultTest::KillEverywhere(const Operation& operation)
{
    for (const Strike& strike : KillsAt(CallsOf(operation))) {
        const int code = Run(operation, strike);
        SCOPED_TRACE(struck + ", " + Describe(strike));
        ASSERT_EQ(code, -SIGKILL);
        operation.check(false);
    }
}

std::vector<long> OperationFaultTest::CallsOf(const Operation& operation) const
{
    std::vector<long> calls;
    operation.prepare();
    const int code = Trace(operation, [&](const Call& call) {
        calls.push_back(call.number);
        return Go;
    });
    EXPECT_EQ(code, 0);
    operation.check(true);
    return calls;
}

int OperationFaultTest::Run(const Operation& operation, const Strike& strike)
{
    Striker striker(strike);
    operation.prepare();
    const int code = Trace(operation, std::ref(striker));
    struck = striker.Struck();
    ++strikes;
    return code;
}

int OperationFaultTest::Trace(const Operation& operation,
                              const std::function<int(const Call&)>& judge) const
{
    const auto isOurs = [this](const Call& call) {
        const std::string text = Describe(call);
        return text.find(" " + folder) != std::string::npos ||
               text.find(" " + elsewhere) != std::string::npos;
    };
    const auto judgeOurs = [&](const Call& call) -> int {
        if (!isOurs(call))
            return Go;
        const int verdict = judge(call);
        return verdict == Go ? operation.machine(call) : verdict;
    };
    return Failing::Trace([&] { return operation.operate() ? 0 : 1; }, judgeOurs).code;
}

bool OperationFaultTest::StruckRemoval() const
{
    return struck.rfind("unlink", 0) == 0 || struck.rfind("rmdir", 0) == 0;
}

/** A way that a file can go. */
struct Way
{
    const char* name;
    bool crossesVolumes;
    int (*machine)(const Call&);
};

void PrintTo(const Way& way, std::ostream* stream)
{
    *stream << way.name;
}

std::string NameOf(const testing::TestParamInfo<Way>& way)
{
    return way.param.name;
}

class MoveFaultTest : public OperationFaultTest, public testing::WithParamInterface<Way>
{
protected:
    void Prepare() const;
    void PrepareOverOld() const;
    void ExpectNothingElse() const;

    const std::string target = GetParam().crossesVolumes ? elsewhere : folder + "/target";
    const std::string from = folder + "/source/result.png";
    const std::string to = target + "/page.png";
    const std::string content = std::string(100'000, 'x') + "end";
    std::string error;
    std::shared_ptr<LocalFileSystem> fileSystem =
        std::make_shared<LocalFileSystem>(SessionFolder::Create(folder, error));
    App::Journal noJournal{App::JournalOptions(), App::OutputOptions(), App::PageOptions()};
    App::ResultFileSystem replacing{fileSystem, App::OnExists::Overwrite, noJournal};
};

void MoveFaultTest::Prepare() const
{
    for (const std::string& made : {folder + "/source", target}) {
        std::filesystem::create_directory(made);
        for (const std::string& name : NamesIn(made))
            std::filesystem::remove(made + "/" + name);
    }
    WriteFile(from, content);
}

void MoveFaultTest::PrepareOverOld() const
{
    Prepare();
    WriteFile(to, "old");
}

/** A whole copy may stay under a hidden name if that is what cannot be removed. */
void MoveFaultTest::ExpectNothingElse() const
{
    for (const std::string& name : NamesIn(target)) {
        if (name != "page.png") {
            EXPECT_TRUE(StruckRemoval()) << name;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EveryWay, MoveFaultTest,
                         testing::Values(Way{"Renaming", false, OnAnyMachine},
                                         Way{"Linking", false, WithoutRenameat2},
                                         Way{"UnnamedCopy", true, OnAnyMachine},
                                         Way{"HiddenCopy", true, WithoutUnnamedFiles},
                                         Way{"HiddenLinkedCopy", true, WithoutEither}),
                         NameOf);

TEST_P(MoveFaultTest, LeavesTheContentAtOneEndAndSaysAtWhich)
{
    FailEverywhere({[this] { Prepare(); }, [this] { return fileSystem->Move(from, to); },
                    [this](bool moved) {
                        EXPECT_EQ(moved, ReadFile(to) == content);
                        EXPECT_TRUE(moved || ReadFile(from) == content);
                        EXPECT_TRUE(!moved || !IsAnything(from) || StruckRemoval());
                        ExpectNothingElse();
                    },
                    GetParam().machine});
}

TEST_P(MoveFaultTest, LeavesTheContentWholeWhenItIsKilled)
{
    KillEverywhere({[this] { Prepare(); }, [this] { return fileSystem->Move(from, to); },
                    [this](bool) {
                        EXPECT_TRUE(ReadFile(from) == content || ReadFile(to) == content);
                        EXPECT_TRUE(!IsAnything(to) || ReadFile(to) == content);
                    },
                    GetParam().machine});
}

TEST_P(MoveFaultTest, ReplacesNothingWhatever)
{
    FailEverywhere({[this] { PrepareOverOld(); }, [this] { return !fileSystem->Move(from, to); },
                    [this](bool refused) {
                        EXPECT_TRUE(refused);
                        EXPECT_EQ(ReadFile(to), "old");
                        EXPECT_TRUE(ReadFile(from) == content);
                        ExpectNothingElse();
                    },
                    GetParam().machine});
}

TEST_P(MoveFaultTest, ReplacesWhollyOrNotAtAllWhereThatIsWanted)
{
    FailEverywhere({[this] { PrepareOverOld(); }, [this] { return replacing.Move(from, to); },
                    [this](bool replaced) {
                        EXPECT_TRUE(ReadFile(to) == (replaced ? content : "old"));
                        EXPECT_TRUE(replaced || ReadFile(from) == content);
                        ExpectNothingElse();
                    },
                    GetParam().machine});
}

TEST_P(MoveFaultTest, ReplacesWhollyOrNotAtAllWhenItIsKilled)
{
    KillEverywhere({[this] { PrepareOverOld(); }, [this] { return replacing.Move(from, to); },
                    [this](bool) {
                        EXPECT_TRUE(ReadFile(to) == "old" || ReadFile(to) == content);
                        EXPECT_TRUE(GetParam().crossesVolumes || NamesIn(target).size() == 1)
                            << "something is left beside it";
                    },
                    GetParam().machine});
}

class FolderFaultTest : public OperationFaultTest
{
protected:
    std::string error;
    LocalFileSystem fileSystem{SessionFolder::Create(folder, error)};
    const std::string made = folder + "/made";
};

TEST_F(FolderFaultTest, IsCreatedPrivateOrNotAtAll)
{
    FailEverywhere({[this] { std::filesystem::remove_all(made); },
                    [this] { return fileSystem.CreateFolder(made); },
                    [this](bool created) {
                        EXPECT_EQ(created, IsAnything(made));
                        EXPECT_EQ(ModeOf(made), created ? mode_t(0700) : mode_t(0));
                    }});
}

TEST_F(FolderFaultTest, IsRemovedWhollyOrNotCalledRemoved)
{
    FailEverywhere({[this] {
                        std::filesystem::create_directories(made + "/below/it");
                        WriteFile(made + "/below/it/file", "content");
                        WriteFile(made + "/file", "content");
                        WriteFile(folder + "/neighbour", "kept");
                        std::error_code exists;
                        std::filesystem::create_symlink(folder + "/neighbour", made + "/link",
                                                        exists);
                    },
                    [this] { return fileSystem.RemoveFolder(made); },
                    [this](bool removed) {
                        EXPECT_EQ(removed, !IsAnything(made));
                        EXPECT_EQ(ReadFile(folder + "/neighbour"), "kept");
                    }});
}

/** Beside a session that lives, one that was abandoned, and a user's own folder. */
class SessionFaultTest : public OperationFaultTest
{
protected:
    void Prepare() const
    {
        std::filesystem::create_directories(abandoned + "/PDFConverter");
        WriteFile(abandoned + "/copy.pdf", "plaintext");
        ASSERT_EQ(::chmod(abandoned.c_str(), S_ISVTX | 0700), 0);
        std::filesystem::create_directory(users);
        WriteFile(users + "/file", "kept");
    }

    void ExpectOthersUntouched() const
    {
        EXPECT_EQ(ReadFile(live->Path() + "/copy.pdf"), "in use");
        EXPECT_EQ(ReadFile(users + "/file"), "kept");
    }

    /** That a start without faults removes all that is left. */
    void ExpectSweptByTheNextStart() const
    {
        std::string ignored;
        EXPECT_TRUE(SessionFolder::Create(folder, ignored));
        EXPECT_THAT(NamesIn(folder),
                    UnorderedElementsAre("pdfconvert-output",
                                         std::filesystem::path(live->Path()).filename().native()));
    }

    std::string error;
    const std::unique_ptr<SessionFolder> live = SessionFolder::Create(folder, error);
    const std::string abandoned = folder + "/pdfconvert-abcdef";
    const std::string users = folder + "/pdfconvert-output";

    /** A start, a plaintext in its folder, and its end. */
    const Operation session{[this] {
                                Prepare();
                                WriteFile(folder + "/copy.pdf", "plaintext");
                            },
                            [this] {
                                const auto made = SessionFolder::Create(folder, error);
                                if (made)
                                    std::rename((folder + "/copy.pdf").c_str(),
                                                (made->Path() + "/copy.pdf").c_str());
                                return bool(made);
                            },
                            [this](bool) {
                                std::filesystem::remove(folder + "/copy.pdf");
                                ExpectOthersUntouched();
                                ExpectSweptByTheNextStart();
                            }};

    void SetUp() override
    {
        OperationFaultTest::SetUp();
        WriteFile(live->Path() + "/copy.pdf", "in use");
    }
};

TEST_F(SessionFaultTest, LeavesNothingThatTheNextStartDoesNotRemove)
{
    FailEverywhere(session);
}

TEST_F(SessionFaultTest, LeavesNothingThatTheNextStartDoesNotRemoveWhenItIsKilled)
{
    KillEverywhere(session);
}

TEST_F(SessionFaultTest, LeavesNothingEitherWhereItsParentHandsItsGroupDown)
{
    ASSERT_EQ(::chmod(folder.c_str(), S_ISGID | 0700), 0);
    KillEverywhere(session);
}

TEST_F(SessionFaultTest, ASweepNamesWhatItHasRemovedAndNothingElse)
{
    FailEverywhere({[this] { Prepare(); },
                    [this] {
                        const auto removed = SessionFolder::Sweep(folder);
                        return removed == std::vector<std::string>{abandoned};
                    },
                    [this](bool removed) {
                        EXPECT_EQ(removed, !IsAnything(abandoned));
                        ExpectOthersUntouched();
                        ExpectSweptByTheNextStart();
                    }});
}

} // namespace
} // namespace Korvel::Failing
