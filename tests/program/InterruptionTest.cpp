#include "FilesBelow.h"
#include "Program.h"
#include "Stride.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <random>

#include <QDir>
#include <QElapsedTimer>

namespace Korvel::App {
namespace {

using RandomInterruptionTest = ProgramTest;

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

    /** The child of the process that has worked for some time; 0 for none. */
    static pid_t ChildAtWork(const QString& process)
    {
        constexpr int ticks = 5; // of ten milliseconds: it takes fewer to get ready
        for (const QString& child : ChildrenOf(process)) {
            QFile file(QStringLiteral("/proc/%1/stat").arg(child));
            file.open(QIODevice::ReadOnly);
            const QString state = QString::fromLatin1(file.readAll()).section(") ", 1);
            if (state.section(' ', 11, 11).toInt() >= ticks)
                return child.toInt();
        }
        return 0;
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
    Send(GetParam(), *process);
    ExpectCleanEnd(*process);
}

TEST_P(InterruptionTest, CleansUpAsSoonAsThereIsSomethingToCleanUp)
{
    const auto process = StartConverting();
    WaitUntil(*process, [this] { return !LeftInTempDir().isEmpty(); });
    Send(GetParam(), *process);
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
    Send(GetParam(), *process);
    ExpectCleanEnd(*process);
}

TEST_P(InterruptionTest, EndsATextBetweenItsPages)
{
    MakeSample("long.pdf", 2000);
    QProcess process;
    process.setWorkingDirectory(Path(""));
    process.start(PDFCONVERT, {"--temp-dir", TempDir(), "long.pdf", "-o", "long.txt"});
    WaitUntil(process, [this] {
        const QStringList files = PDF::Test::FilesBelow(TempDir());
        return std::any_of(files.begin(), files.end(), [](const QString& file) {
            return file.contains(QLatin1String(".part-"));
        });
    });
    Send(GetParam(), process);
    const Outcome run = Finish(process);
    EXPECT_EQ(run.exitCode, 128 + GetParam());
    EXPECT_EQ(run.complaints, "pdfconvert: long.pdf: interrupted\n");
    EXPECT_FALSE(QFile::exists(Path("long.txt")));
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

TEST_P(InterruptionTest, LetsTheRunningPageEndAtTheFirstAndNotAtTheSecond)
{
    MakeSample("plain.pdf", 1);
    for (const int signals : {1, 2}) {
        const QString output = QStringLiteral("after-%1.png").arg(signals);
        QProcess process;
        process.setWorkingDirectory(Path(""));
        process.start(PDFCONVERT,
                      {"--temp-dir", TempDir(), "plain.pdf", "-o", output, "-r", "1400",
                       "--progress", "none"}); // a busy machine takes more than five seconds
        // What opens the document goes on to draw its page, which takes longer by far.
        pid_t worker = 0;
        WaitUntil(process, [&] {
            const QStringList workers = Children(process);
            worker = workers.size() == 1 ? ChildAtWork(workers[0]) : 0;
            return worker != 0;
        });
        ASSERT_GT(worker, 0);
        ::kill(worker, SIGSTOP); // so that the page does not end before the last signal
        for (int sent = 0; sent < signals; ++sent) {
            Send(GetParam(), process);
            process.waitForFinished(50); // two at once would be one
        }
        ::kill(worker, SIGCONT);
        const Outcome run = Finish(process);
        EXPECT_EQ(run.exitCode, 128 + GetParam());
        EXPECT_EQ(run.complaints, std::string(signals == 1 ? "" : "pdfconvert: ends at once\n") +
                                      "pdfconvert: plain.pdf: interrupted\n");
        EXPECT_EQ(QFile::exists(Path(output)), signals == 1);
        EXPECT_EQ(LeftInTempDir(), QStringList());
    }
}

INSTANTIATE_TEST_SUITE_P(Signals, InterruptionTest, testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST_F(RandomInterruptionTest, LeavesNothingAndLosesNothingAtWhateverMoment)
{
    constexpr int pages = 6;
    MakeSample("secret.pdf", pages, "pw");
    Write("pw", "pw");
    std::random_device random;
    const int tries = 1000 / Failing::Stride(20);
    int interrupted = 0;
    for (int i = 0; i < tries && !HasFailure(); ++i) {
        const QString folder = QStringLiteral("p%1").arg(i);
        const auto process =
            Start({"secret.pdf", "--password-file", "pw", "-d", folder, "-r", "60"});
        if (!process->waitForFinished(int(random() % 250)))
            Send(SIGINT, *process);
        const Outcome run = Finish(*process);
        // Before the program listens, the signal itself ends it, as it ends every program.
        const bool isEarly = process->exitStatus() == QProcess::CrashExit;
        EXPECT_THAT(run.exitCode, testing::AnyOf(0, isEarly ? SIGINT : 128 + SIGINT))
            << run.complaints;
        EXPECT_EQ(run.results.size(), run.exitCode == 0 ? pages : 0);
        EXPECT_EQ(LeftInTempDir(), QStringList());
        const auto whole = WholePictures(folder).size();
        EXPECT_TRUE(whole == pages || run.exitCode != 0) << whole;
        interrupted += run.exitCode != 0;
    }
    EXPECT_GT(interrupted, 0);
}

/** With whether the next start is there for nothing else. */
class KilledTest : public ProgramTest, public testing::WithParamInterface<bool>
{
};

INSTANTIATE_TEST_SUITE_P(, KilledTest, testing::Bool());

TEST_P(KilledTest, TheNextStartRemovesWhatAKilledOneLeft)
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

    if (GetParam()) {
        const Outcome clean = Run({"--clean-temp"});
        EXPECT_EQ(clean.exitCode, 0);
        EXPECT_EQ(clean.results.size(), 1) << "the folder that is gone";
    } else {
        MakeSample("plain.pdf", 1);
        EXPECT_EQ(Run({"plain.pdf", "-o", "p.png"}).exitCode, 0);
    }
    EXPECT_EQ(LeftInTempDir(), QStringList());
    WholePictures("pages");
}

} // namespace
} // namespace Korvel::App
