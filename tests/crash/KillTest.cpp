#include "FileTestTools.h"
#include "Stride.h"
#include "TracedProgram.h"

#include <csignal>
#include <cstdio>
#include <map>
#include <tuple>

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/syscall.h>

namespace Korvel::Failing {
namespace {

using PDF::Test::NamesIn;
using PDF::Test::ReadFile;
using PDF::Test::WriteFile;
using testing::AnyOf;
using testing::HasSubstr;
using testing::IsSubsetOf;

bool StartsWith(const std::string& text, const std::string& beginning)
{
    return text.compare(0, beginning.size(), beginning) == 0;
}

enum class Volume { Same, Other, OtherAndPlain };
enum class OnExists { Number, Overwrite };

/** Where a conversion puts its picture, and whether an old one is there, which it replaces. */
using Conversion = std::tuple<Volume, OnExists>;

std::string NameOf(const testing::TestParamInfo<Conversion>& conversion)
{
    const char* const volumes[] = {"WithinAVolume", "AcrossVolumes", "ToAPlainVolume"};
    const char* const policies[] = {"", "OverAnOldResult"};
    return volumes[int(std::get<Volume>(conversion.param))] +
           std::string(policies[int(std::get<OnExists>(conversion.param))]);
}

/** Kills one process of a conversion before one of its system calls; with the next one, again. */
class KillTest : public TracedProgramTest, public testing::WithParamInterface<Conversion>
{
protected:
    void SetUp() override;

    TracedRun Convert(const std::function<int(const Call&)>& judge);
    TracedRun ConvertAndKill(int process, int beforeCall);

    /** Kills the process before one call after the other; `check` looks at what is left. */
    void KillEverywhere(int process, const std::function<void(const TracedRun&)>& check);

    bool HasPicture() const { return ReadFile(picture) == whole; }
    bool HasOld() const { return Replaces() && ReadFile(picture) == "old"; }
    bool CrossesVolumes() const { return std::get<Volume>(GetParam()) != Volume::Same; }
    bool Replaces() const { return std::get<OnExists>(GetParam()) == OnExists::Overwrite; }
    bool IsPlain() const { return std::get<Volume>(GetParam()) == Volume::OtherAndPlain; }
    void ExpectAllOrNothing() const;
    void ConvertAnotherIntoTheFolder() const;

    const QTemporaryDir elsewhere{QStringLiteral("/dev/shm/kill-test-XXXXXX")};
    std::string folder;
    std::string picture;
    std::string whole;
    std::map<int, int> calls; ///< by process, as many as it makes undisturbed
    std::string killedAt;
    int kills = 0;
    int pictures = 0;
};

void KillTest::SetUp()
{
    TracedProgramTest::SetUp();
    if (IsSkipped())
        return;
    QDir(Path("")).mkdir("out");
    folder = (CrossesVolumes() ? elsewhere.path() : Path("out")).toStdString();
    picture = folder + "/p.png";
    const TracedRun run = Convert([this](const Call& call) {
        ++calls[call.process];
        return Go;
    });
    ASSERT_EQ(run.end.code, 0) << run.complaints;
    whole = ReadFile(picture);
    ASSERT_THAT(whole, testing::StartsWith("\x89PNG"));
    ASSERT_GE(calls.size(), 3u) << "the command, and workers to decrypt and to draw";
}

TracedRun KillTest::Convert(const std::function<int(const Call&)>& judge)
{
    for (const std::string& name : NamesIn(folder))
        std::remove((folder + "/" + name).c_str());
    if (Replaces())
        WriteFile(picture, "old");
    return Run({"secret.pdf", "-o", QString::fromStdString(picture), "-r", "20", "--password-file",
                "pw", "--on-exists", Replaces() ? "overwrite" : "number", "--temp-dir", TempDir()},
               [&](const Call& call) {
                   const int verdict = judge(call);
                   return verdict == Go && IsPlain() ? VerdictOfPlain(call) : verdict;
               });
}

TracedRun KillTest::ConvertAndKill(int process, int beforeCall)
{
    int made = 0;
    killedAt.clear();
    return Convert([&](const Call& call) -> int {
        if (call.process != process || made++ != beforeCall)
            return Go;
        killedAt = Describe(call);
        return Kill;
    });
}

void KillTest::KillEverywhere(int process, const std::function<void(const TracedRun&)>& check)
{
    for (int call = 0; call < calls[process] && !HasFailure(); call += Stride(97)) {
        const TracedRun run = ConvertAndKill(process, call);
        SCOPED_TRACE("process " + std::to_string(process) + " killed before call " +
                     std::to_string(call) + ", " + killedAt);
        EXPECT_FALSE(run.end.hung);
        ExpectSourceIntact();
        ExpectAllOrNothing();
        check(run);
        kills += !killedAt.empty();
        pictures += HasPicture();
    }
}

void KillTest::ExpectAllOrNothing() const
{
    for (const std::string& name : NamesIn(folder)) {
        EXPECT_TRUE(name == "p.png" || (CrossesVolumes() && StartsWith(name, ".pdfconvert-")))
            << name;
    }
    EXPECT_EQ(HasPicture() || HasOld(), PDF::Test::IsAnything(picture)) << "whole, or not there";
    EXPECT_TRUE(!Replaces() || PDF::Test::IsAnything(picture)) << "the old one is lost";
}

void KillTest::ConvertAnotherIntoTheFolder() const
{
    const std::string other = folder + "/other.png";
    EXPECT_EQ(ProgramTest::Run({"secret.pdf", "-o", QString::fromStdString(other), "-r", "20",
                                "--password-file", "pw"})
                  .exitCode,
              0);
    EXPECT_EQ(std::remove(other.c_str()), 0);
}

INSTANTIATE_TEST_SUITE_P(, KillTest,
                         testing::Combine(testing::Values(Volume::Same, Volume::Other,
                                                          Volume::OtherAndPlain),
                                          testing::Values(OnExists::Number, OnExists::Overwrite)),
                         NameOf);

TEST_P(KillTest, OfTheCommandIsMadeGoodByTheNextStart)
{
    KillEverywhere(0, [this](const TracedRun& run) {
        if (!killedAt.empty()) {
            EXPECT_EQ(run.end.code, -SIGKILL);
        }
        ConvertAnotherIntoTheFolder();
        EXPECT_THAT(NamesIn(folder), IsSubsetOf({"p.png"}));
        EXPECT_EQ(LeftInTempDir(), QStringList());
    });
    std::printf("%d kills of the command: %d results whole, the others not there; 0 partial, "
                "0 left behind after the next start\n",
                kills, pictures);
}

TEST_P(KillTest, OfTheCommandBeforeAHiddenCopyHasItsNameLeavesNoneForLong)
{
    const TracedRun run = Convert([&, isCopied = false](const Call& call) mutable -> int {
        const std::string text = call.process == 0 ? Describe(call) : std::string();
        const bool isOfCopy = StartsWith(text, "rename") || StartsWith(text, "link");
        if (text.find(folder + "/.pdfconvert-") == std::string::npos || !isOfCopy || isCopied)
            return Go;
        // Where a rename is to be refused, a link comes next.
        isCopied = call.number == SYS_rename || call.number == SYS_link || !IsPlain();
        return isCopied ? Kill : Go;
    });
    const bool isHidden = IsPlain() || (CrossesVolumes() && Replaces());
    EXPECT_EQ(run.end.code, isHidden ? -SIGKILL : 0);
    EXPECT_EQ(NamesIn(folder).size(), 1u + (isHidden && Replaces() ? 1 : 0));
    ConvertAnotherIntoTheFolder();
    EXPECT_THAT(NamesIn(folder), IsSubsetOf({"p.png"}));
}

TEST_P(KillTest, OfAWorkerIsMadeGoodByTheCommand)
{
    for (int worker = 1; worker < int(calls.size()); ++worker)
        KillEverywhere(worker, [this](const TracedRun& run) {
            EXPECT_THAT(run.end.code, AnyOf(0, 7));
            EXPECT_EQ(run.end.code == 0, HasPicture());
            EXPECT_EQ(run.results.size(), run.end.code == 0 ? 1 : 0);
            if (run.end.code != 0) {
                EXPECT_THAT(run.complaints, HasSubstr("pdfconvert: secret.pdf: "));
            }
            EXPECT_THAT(NamesIn(folder), IsSubsetOf({"p.png"}));
            EXPECT_EQ(LeftInTempDir(), QStringList());
        });
    std::printf("%d kills of workers: %d results whole, the others not there; 0 partial, "
                "0 left behind\n",
                kills, pictures);
}

using DecryptionTest = TracedProgramTest;

TEST_F(DecryptionTest, MakesItsCopyAndItsFoldersPrivateFromTheFirst)
{
    const PDF::Test::Umask none(0);
    std::vector<std::uint64_t> copies;
    std::vector<std::uint64_t> folders;
    Run({"secret.pdf", "-o", "p.png", "--password-file", "pw", "--temp-dir", TempDir()},
        [&](const Call& call) {
            const std::string text = Describe(call);
            if (text.find(TempDir().toStdString()) == std::string::npos)
                return Go;
            if (call.number == SYS_mkdir)
                folders.push_back(call.arguments[1] & 0777);
            if (call.number == SYS_mkdirat)
                folders.push_back(call.arguments[2] & 0777);
            if (call.number == SYS_openat && (call.arguments[2] & O_CREAT) != 0 &&
                text.find(".pdf") != std::string::npos)
                copies.push_back(call.arguments[3]);
            return Go;
        });
    EXPECT_THAT(copies, testing::ElementsAre(0600));
    EXPECT_THAT(folders, testing::Each(0700));
    EXPECT_GE(folders.size(), 2u) << "the session's and that of the pictures";
}

TEST_F(DecryptionTest, WhoseWorkerIsKilledIsNotCalledALackOfSpace)
{
    const TracedRun run =
        Run({"secret.pdf", "-o", "p.png", "--password-file", "pw", "--temp-dir", TempDir()},
            [this](const Call& call) {
                const std::string text = Describe(call);
                const bool isCopy = text.find(TempDir().toStdString()) != std::string::npos &&
                                    text.find(".pdf") != std::string::npos;
                return call.process != 0 && isCopy ? Kill : Go;
            });
    EXPECT_EQ(run.end.code, 7);
    EXPECT_THAT(run.complaints, HasSubstr("secret.pdf: the worker that opened it crashed"));
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

} // namespace
} // namespace Korvel::Failing
