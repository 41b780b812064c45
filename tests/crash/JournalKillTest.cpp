// A run with a journal is killed before one of its system calls, and started again until it ends.

#include "FileTestTools.h"
#include "Stride.h"
#include "TracedProgram.h"
#include "Volumes.h"

#include <cerrno>
#include <cstdio>
#include <map>

#include <gmock/gmock.h>

#include <sys/syscall.h>

namespace Korvel::Failing {
namespace {

using PDF::Test::NamesIn;
using PDF::Test::ReadFile;

class JournalKillTest : public TracedProgramTest, public testing::WithParamInterface<Volume>
{
protected:
    void SetUp() override
    {
        TracedProgramTest::SetUp();
        if (IsSkipped())
            return;
        MakeSample("plain.pdf", 2);
        Write("bad.pdf", "no PDF");
        Write("list", "secret.pdf\nbad.pdf\nplain.pdf\n");
        ASSERT_TRUE(QDir(Path("")).mkdir("out"));
        folder = GetParam().isAnother ? elsewhere.path() : Path("out");
    }

    TracedRun Convert(const std::function<int(const Call&)>& judge,
                      const QStringList& options = {}) const
    {
        return Run(inputs + options +
                       QStringList{"--journal", "journal", "-d", folder, "--temp-dir", TempDir()},
                   [&](const Call& call) {
                       const int verdict = judge(call);
                       return verdict == Go && GetParam().isPlain ? VerdictOfPlain(call) : verdict;
                   });
    }

    /** Kills the command before one of its calls; where the run is shorter, not at all. */
    void ConvertAndKill(int beforeCall, const QStringList& options)
    {
        int made = 0;
        std::string killedAt = "its end";
        const auto judge = [&](const Call& call) -> int {
            if (call.process != 0 || made++ != beforeCall)
                return Go;
            killedAt = Describe(call);
            ++kills;
            return Kill;
        };
        Convert(judge, options);
        story += "killed before call " + std::to_string(beforeCall) + ", " + killedAt + "; ";
    }

    /** Kills runs that undisturbed make so many files, at every call but for a stride. */
    void ExpectFilesOfAnUndisturbedRun(const QStringList& options, std::size_t files, int stride);

    std::map<std::string, std::string> Results() const
    {
        std::map<std::string, std::string> results;
        for (const std::string& name : NamesIn(folder.toStdString()))
            results[name] = ReadFile(folder.toStdString() + '/' + name);
        return results;
    }

    void Clear() const
    {
        QFile::remove(Path("journal"));
        for (const auto& [name, content] : Results())
            std::remove((folder.toStdString() + '/' + name).c_str());
    }

    const QTemporaryDir elsewhere{QStringLiteral("/dev/shm/journal-kill-test-XXXXXX")};
    QString folder;
    QStringList inputs{"--from-list", "list", "--password-file", "pw"};
    int kills = 0;
    std::string story;
};

INSTANTIATE_TEST_SUITE_P(, JournalKillTest, AllVolumes(), NameOf);

void JournalKillTest::ExpectFilesOfAnUndisturbedRun(const QStringList& options, std::size_t files,
                                                    int stride)
{
    int calls = 0;
    const auto count = [&calls](const Call& call) {
        calls += call.process == 0;
        return Go;
    };
    const TracedRun run = Convert(count, options);
    ASSERT_EQ(run.end.code, 10) << run.complaints;
    const auto undisturbed = Results();
    ASSERT_EQ(undisturbed.size(), files);
    for (int call = 0; call < calls && !HasFailure(); call += stride) {
        Clear();
        story.clear();
        ConvertAndKill(call, options);
        ConvertAndKill(calls - 1 - call / 2, options);
        const TracedRun last = Convert([](const Call&) { return Go; }, options);
        EXPECT_EQ(last.end.code, 10) << story << last.complaints;
        EXPECT_TRUE(Results() == undisturbed)
            << story << testing::PrintToString(NamesIn(folder.toStdString()));
        EXPECT_EQ(LeftInTempDir(), QStringList()) << story;
        ExpectSourceIntact();
    }
    std::printf("%d kills of runs with a journal: always the files of an undisturbed run\n", kills);
}

TEST_P(JournalKillTest, LeavesTheFilesOfAnUndisturbedRun)
{
    ExpectFilesOfAnUndisturbedRun({"-r", "20"}, 3, Stride(211));
}

TEST_P(JournalKillTest, LeavesThemWhereDocumentsAreOpenedWhileOthersAreConverted)
{
    MakeSample("last.pdf", 1);
    inputs = QStringList{"plain.pdf", "bad.pdf", "last.pdf", "--no-input"};
    ExpectFilesOfAnUndisturbedRun({"-r", "20"}, 3, Stride(211));
}

TEST_P(JournalKillTest, LeavesTheCopiesOfAnUndisturbedRun)
{
    ExpectFilesOfAnUndisturbedRun({"-f", "pdf"}, 2, Stride(401));
}

TEST_P(JournalKillTest, TakesNoOtherNameWhenItsOwnFileCannotBeReplaced)
{
    ASSERT_EQ(Convert([](const Call&) { return Go; }, {"-r", "20"}).end.code, 10);
    const auto undisturbed = Results();
    Clear();
    // Flushed are: that it begins, a failure, the plans, a page and its end, a page, and one more.
    Convert(
        [flushes = 0](const Call& call) mutable {
            const bool isFlush = call.process == 0 && call.number == SYS_fdatasync;
            return isFlush && ++flushes == 7 ? Kill : Go;
        },
        {"-r", "20", "--jobs", "1"});
    ASSERT_EQ(Results().size(), 2u);
    const TracedRun full = Convert(
        [](const Call& call) { return call.number == SYS_rename ? ENOSPC : Go; }, {"-r", "20"});
    EXPECT_THAT(full.complaints, testing::HasSubstr("cannot write"));
    EXPECT_EQ(Convert([](const Call&) { return Go; }, {"-r", "20", "--retry-failed"}).end.code, 10);
    EXPECT_TRUE(Results() == undisturbed) << testing::PrintToString(NamesIn(folder.toStdString()));
}

} // namespace
} // namespace Korvel::Failing
