// The machine loses its power while a run with a journal is at work, and the run is started again.

#include "FileTestTools.h"
#include "RecordedDisk.h"
#include "Stride.h"
#include "TracedProgram.h"
#include "Volumes.h"

#include <cstdio>
#include <functional>
#include <map>
#include <set>
#include <vector>

#include <gmock/gmock.h>

#include <QDir>

#include <sys/syscall.h>

namespace Korvel::Failing {
namespace {

using PDF::Test::NamesIn;
using PDF::Test::ReadFile;

using Files = std::map<std::string, std::string>;

constexpr unsigned losses = 10; ///< that are tried at each step

/** What is left in the n-th of them. */
Survivors SurvivorsOf(unsigned loss)
{
    return Survivors(std::min(loss, unsigned(Survivors::Some)));
}

class PowerLossTest : public TracedProgramTest, public testing::WithParamInterface<Volume>
{
protected:
    void SetUp() override
    {
        TracedProgramTest::SetUp();
        if (IsSkipped())
            return;
        MakeSample("plain.pdf", 2);
        Write("list", "secret.pdf\nplain.pdf\n");
        // Neither is there when the run begins.
        folder = GetParam().isAnother ? elsewhere.filePath("new/out") : Path("new/out");
    }

    QStringList Arguments() const
    {
        return inputs + QStringList{"--journal", "journal", "-d", folder, "-r", "20"};
    }

    Files Results() const
    {
        Files results;
        if (!QDir(folder).exists())
            return results;
        for (const std::string& name : NamesIn(folder.toStdString()))
            results[name] = ReadFile(folder.toStdString() + '/' + name);
        return results;
    }

    /** That nothing has a result's name but the result. */
    void ExpectNoPartsOf(const Files& whole) const
    {
        for (const auto& [name, content] : Results()) {
            if (name.front() == '.')
                continue;
            const auto result = whole.find(name);
            EXPECT_TRUE(result != whole.end() && result->second == content)
                << name << " has " << content.size() << " bytes";
        }
    }

    /** A run that is recorded to its end. */
    TracedRun Record(RecordedDisk& disk, const std::function<bool(const Call&)>& isRecorded) const
    {
        return Run(
            Arguments() + QStringList{"--temp-dir", TempDir()},
            [](const Call& call) { return GetParam().isPlain ? VerdictOfPlain(call) : Go; },
            [&](const Call& call, long answer) {
                if (isRecorded(call))
                    disk.Record(call, answer);
            });
    }

    std::vector<std::string> Roots() const
    {
        return {QDir(Path("")).path().toStdString(), elsewhere.path().toStdString()};
    }

    /** Records a run, and starts it again after losses of power at each step but for a stride. */
    void ExpectFilesOfAnUndisturbedRun(int stride) const;

    const QTemporaryDir elsewhere{QStringLiteral("/dev/shm/power-loss-test-XXXXXX")};
    QString folder;
    QStringList inputs{"--from-list", "list", "--password-file", "pw"};
};

INSTANTIATE_TEST_SUITE_P(, PowerLossTest, AllVolumes(), NameOf);

void PowerLossTest::ExpectFilesOfAnUndisturbedRun(int stride) const
{
    RecordedDisk disk(Roots());
    const TracedRun recorded = Record(disk, [](const Call&) { return true; });
    ASSERT_EQ(recorded.end.code, 0) << recorded.complaints;
    const Files undisturbed = Results();
    ASSERT_EQ(undisturbed.size(), 3u);
    std::set<RecordedDisk::Image> seen;
    int tried = 0;
    const auto all = unsigned(disk.Steps() + 1) * losses;
    for (unsigned number = 0; number < all && !HasFailure(); number += unsigned(stride)) {
        const std::size_t step = number / losses;
        const RecordedDisk::Image left = disk.After(step, SurvivorsOf(number % losses), number);
        if (!seen.insert(left).second)
            continue;
        disk.Restore(left);
        SCOPED_TRACE("step " + std::to_string(step) + " of " + std::to_string(disk.Steps()) +
                     ", loss " + std::to_string(number % losses) + ", before " +
                     (step < disk.Steps() ? disk.Told(step) : "the end"));
        ExpectNoPartsOf(undisturbed);
        const App::Outcome again = ProgramTest::Run(Arguments());
        EXPECT_EQ(again.exitCode, 0) << again.complaints;
        EXPECT_TRUE(Results() == undisturbed)
            << testing::PrintToString(NamesIn(folder.toStdString())) << again.complaints;
        EXPECT_EQ(LeftInTempDir(), QStringList());
        ++tried;
    }
    std::printf("%d losses of power in %zu steps: always the files of an undisturbed run\n", tried,
                disk.Steps());
}

TEST_P(PowerLossTest, LeavesTheFilesOfAnUndisturbedRun)
{
    ExpectFilesOfAnUndisturbedRun(Stride(31));
}

TEST_P(PowerLossTest, LeavesThemWhereDocumentsAreOpenedWhileOthersAreConverted)
{
    MakeSample("last.pdf", 1);
    inputs = QStringList{"plain.pdf", "last.pdf", "--no-input"};
    ExpectFilesOfAnUndisturbedRun(Stride(47));
}

TEST_P(PowerLossTest, LeavesThemWhereARunGoesOn)
{
    Run(Arguments() + QStringList{"--temp-dir", TempDir(), "--jobs", "1"},
        [flushes = 0](const Call& call) mutable -> int {
            const bool isFlush = call.process == 0 && call.number == SYS_fdatasync;
            return isFlush && ++flushes == 6 ? Kill : Go;
        });
    ASSERT_EQ(Results().size(), 2u);
    ExpectFilesOfAnUndisturbedRun(Stride(47));
}

TEST_P(PowerLossTest, WouldNoticeARunThatFlushesNothing)
{
    RecordedDisk disk(Roots());
    Record(disk, [](const Call& call) { return call.number != SYS_fsync || call.process != 0; });
    const Files undisturbed = Results();
    ASSERT_EQ(undisturbed.size(), 3u);
    int parts = 0;
    for (std::size_t step = 0; step <= disk.Steps(); ++step) {
        for (const auto& [path, left] : disk.After(step, Survivors::NamesAndHalves, 0)) {
            const auto length = std::size_t(folder.size()) + 1;
            const auto result = path.rfind(folder.toStdString() + "/", 0) == 0
                                    ? undisturbed.find(path.substr(length))
                                    : undisturbed.end();
            parts += result != undisturbed.end() && result->second != left.content ? 1 : 0;
        }
    }
    EXPECT_GT(parts, 0);
}

} // namespace
} // namespace Korvel::Failing
