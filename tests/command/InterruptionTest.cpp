#include "Program.h"

#include <gmock/gmock.h>

#include <csignal>

#include <QDir>
#include <QElapsedTimer>

namespace Korvel::App {
namespace {

class InterruptionTest : public ProgramTest, public testing::WithParamInterface<int>
{
protected:
    /** Waits until `happened`, or the process has ended. */
    template <typename Condition>
    static void WaitUntil(QProcess& process, Condition happened)
    {
        while (!happened() && !process.waitForFinished(1)) {
        }
    }

    std::unique_ptr<QProcess> StartConverting() const
    {
        MakeSample("secret.pdf", 100, "pw");
        Write("pw", "pw");
        auto process = std::make_unique<QProcess>();
        process->setWorkingDirectory(Path(""));
        process->start(PDFCONVERT, {"--temp-dir", TempDir(), "secret.pdf", "--password-file", "pw",
                                    "-o", "pages/%d.png", "-r", "200"});
        return process;
    }

    void ExpectCleanEnd(QProcess& process) const
    {
        const Outcome run = Finish(process);
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(run.exitCode, 128 + GetParam());
        EXPECT_EQ(run.results, QStringList());
        EXPECT_THAT(run.complaints, testing::AnyOf("pdfconvert: secret.pdf: interrupted\n",
                                                   "pdfconvert: interrupted\n"))
            << "the second before any document is in work";
        EXPECT_EQ(LeftInTempDir(), QStringList());
        EXPECT_LT(WholePictures("pages").size(), 100);
    }
};

TEST_P(InterruptionTest, CleansUpWhilePagesAreConverted)
{
    const auto process = StartConverting();
    WaitUntil(*process, [this] { return !QDir(Path("pages")).isEmpty(); });
    ::kill(pid_t(process->processId()), GetParam());
    ExpectCleanEnd(*process);
}

TEST_P(InterruptionTest, CleansUpAsSoonAsThereIsSomethingToCleanUp)
{
    const auto process = StartConverting();
    WaitUntil(*process, [this] { return !LeftInTempDir().isEmpty(); });
    ::kill(pid_t(process->processId()), GetParam());
    ExpectCleanEnd(*process);
}

TEST_P(InterruptionTest, CleansUpRightAfterTheCopyHasAppeared)
{
    const auto process = StartConverting();
    WaitUntil(*process, [this] {
        const QStringList sessions = LeftInTempDir();
        return !sessions.isEmpty() &&
               !QDir(TempDir() + '/' + sessions.first()).entryList({"*.pdf"}).isEmpty();
    });
    ::kill(pid_t(process->processId()), GetParam());
    ExpectCleanEnd(*process);
}

INSTANTIATE_TEST_SUITE_P(Signals, InterruptionTest, testing::Values(SIGINT, SIGTERM, SIGHUP));

using KilledTest = ProgramTest;

TEST_F(KilledTest, TheNextStartRemovesWhatAKilledOneLeft)
{
    MakeSample("secret.pdf", 100, "pw");
    Write("pw", "pw");
    QProcess process;
    process.setWorkingDirectory(Path(""));
    process.start(PDFCONVERT, {"--temp-dir", TempDir(), "secret.pdf", "--password-file", "pw", "-o",
                               "pages/%d.png", "-r", "200"});
    while (QDir(Path("pages")).isEmpty() && !process.waitForFinished(1)) {
    }
    process.kill();
    process.waitForFinished();
    ASSERT_EQ(LeftInTempDir().size(), 1) << "killed, it could not clean up";

    MakeSample("plain.pdf", 1);
    EXPECT_EQ(Run({"plain.pdf", "-o", "p.png"}).exitCode, 0);
    EXPECT_EQ(LeftInTempDir(), QStringList());
    WholePictures("pages");
}

} // namespace
} // namespace Korvel::App
