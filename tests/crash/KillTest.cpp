#include "FileTestTools.h"
#include "Stride.h"
#include "TracedProgram.h"

#include <cstdio>
#include <map>

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

/** Whether a conversion goes from one volume to another, and replaces a picture there. */
struct Conversion
{
    const char* name;
    bool crossesVolumes;
    bool replaces;
};

void PrintTo(const Conversion& conversion, std::ostream* stream)
{
    *stream << conversion.name;
}

std::string NameOf(const testing::TestParamInfo<Conversion>& conversion)
{
    return conversion.param.name;
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
    bool HasOld() const { return GetParam().replaces && ReadFile(picture) == "old"; }
    void ExpectAllOrNothing() const;

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
    folder = (GetParam().crossesVolumes ? elsewhere.path() : Path("out")).toStdString();
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
    if (GetParam().replaces)
        WriteFile(picture, "old");
    return Run({"secret.pdf", "-o", QString::fromStdString(picture), "-r", "20", "--password-file",
                "pw", "--on-exists", GetParam().replaces ? "overwrite" : "number", "--temp-dir",
                TempDir()},
               judge);
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
    EXPECT_THAT(NamesIn(folder), IsSubsetOf({"p.png"}));
    EXPECT_EQ(HasPicture() || HasOld(), PDF::Test::IsAnything(picture)) << "whole, or not there";
    EXPECT_TRUE(!GetParam().replaces || PDF::Test::IsAnything(picture)) << "the old one is lost";
}

INSTANTIATE_TEST_SUITE_P(, KillTest,
                         testing::Values(Conversion{"WithinAVolume", false, false},
                                         Conversion{"AcrossVolumes", true, false},
                                         Conversion{"OverAnOldResult", false, true}),
                         NameOf);

TEST_P(KillTest, OfTheCommandIsMadeGoodByTheNextStart)
{
    KillEverywhere(0, [this](const TracedRun& run) {
        if (!killedAt.empty()) {
            EXPECT_EQ(run.end.code, -SIGKILL);
        }
        StartAgain();
        EXPECT_EQ(LeftInTempDir(), QStringList());
    });
    std::printf("%d kills of the command: %d results whole, the others not there; 0 partial, "
                "0 left behind after the next start\n",
                kills, pictures);
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
