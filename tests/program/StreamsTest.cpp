#include "Program.h"

#include <gmock/gmock.h>

#include <csignal>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Korvel::App {
namespace {

using testing::HasSubstr;

/** Standard streams that are closed, full, or that nobody reads. */
class StreamsTest : public ProgramTest
{
protected:
    /** Runs a line of the shell. */
    Outcome RunLine(const QString& line) const
    {
        QProcess shell;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("PATH", QFileInfo(PDFCONVERT).path() + ":" + environment.value("PATH"));
        environment.insert("TMPDIR", TempDir());
        shell.setProcessEnvironment(environment);
        shell.setWorkingDirectory(Path(""));
        shell.start("setsid", {"--wait", "timeout", "60", "sh", "-c", line});
        return Finish(shell);
    }

    /** Whether it sleeps, and has begun to listen to signals. */
    static bool IsWaiting(const QProcess& process)
    {
        QFile file(QStringLiteral("/proc/%1/status").arg(process.processId()));
        if (!file.open(QIODevice::ReadOnly))
            return false;
        const QString status = QString::fromLatin1(file.readAll());
        const QString blocked = status.section("SigBlk:\t", 1).section('\n', 0, 0);
        return status.contains("State:\tS") &&
               (blocked.toULongLong(nullptr, 16) >> (SIGTERM - 1) & 1) != 0;
    }

    /** Sends signals, each when the command waits for something that never comes. */
    static int EndBySignals(QProcess& process, int count)
    {
        for (int sent = 0; sent < count; ++sent) {
            for (int times = 0; times < 10 && process.state() != QProcess::NotRunning;
                 times = IsWaiting(process) ? times + 1 : 0)
                process.waitForFinished(10);
            Send(SIGTERM, process);
        }
        return Finish(process).exitCode;
    }

    std::unique_ptr<QProcess> StartAlone(const QStringList& arguments) const
    {
        auto process = std::make_unique<QProcess>();
        process->setWorkingDirectory(Path(""));
        process->start(PDFCONVERT, QStringList{"--temp-dir", TempDir()} + arguments);
        EXPECT_TRUE(process->waitForStarted());
        return process;
    }
};

TEST_F(StreamsTest, ThatAreClosedAreErrorsAtOnce)
{
    MakeSample("one.pdf", 1);
    EXPECT_EQ(RunLine("pdfconvert - -o s.txt <&-").exitCode, 4);
    EXPECT_EQ(RunLine("pdfconvert --from-list - -d s <&-").exitCode, 4);
    const Outcome run = RunLine("pdfconvert one.pdf -o ab.txt >&-"); // a path of eight bytes
    EXPECT_EQ(run.exitCode, 5);
    EXPECT_THAT(run.complaints, HasSubstr("standard output did not take"));
    EXPECT_EQ(RunLine("pdfconvert one.pdf -o cd.txt 2>&-").results, QStringList("cd.txt"));
    EXPECT_EQ(RunLine("pdfconvert --nonsense 2>&-").exitCode, 2);
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

TEST_F(StreamsTest, ThatAreFullAreErrorsThatAreTold)
{
    MakeSample("one.pdf", 1);
    for (const QString line :
         {"--help", "--version", "--completion bash", "--manual", "one.pdf --inspect",
          "one.pdf --inspect --json", "one.pdf -o p.txt", "one.pdf -o q.txt --json",
          "report empty.jsonl", "report empty.jsonl --json"}) {
        Write("empty.jsonl", "");
        const Outcome run = RunLine("pdfconvert " + line + " >/dev/full");
        EXPECT_EQ(run.exitCode, 5) << line.toStdString();
        EXPECT_THAT(run.complaints, HasSubstr("standard output did not take"))
            << line.toStdString();
    }
}

TEST_F(StreamsTest, ThatAreFullFinishNoDocument)
{
    MakeSample("one.pdf", 1);
    for (const QString output : {"-o - -f txt", "-o p.txt"}) {
        const Outcome run = RunLine("pdfconvert one.pdf --progress json " + output + " >/dev/full");
        EXPECT_THAT(run.complaints, HasSubstr("\"failed\""));
        EXPECT_THAT(run.complaints, testing::Not(HasSubstr("\"finished\"")));
    }
}

TEST_F(StreamsTest, ThatNobodyWritesToAreLeftAtASignal)
{
    MakeSample("one.pdf", 1, "pw");
    ASSERT_EQ(::mkfifo(Path("fifo").toStdString().c_str(), S_IRWXU), 0);
    for (const QStringList& arguments :
         {QStringList{"--from-list", "fifo", "-d", "out"},
          QStringList{"one.pdf", "-d", "out", "--password-file", "fifo"},
          QStringList{"one.pdf", "-d", "out", "--password-map", "fifo"}}) {
        const auto process = StartAlone(arguments);
        EXPECT_EQ(EndBySignals(*process, 1), 128 + SIGTERM);
        EXPECT_EQ(LeftInTempDir(), QStringList());
    }
}

TEST_F(StreamsTest, ThatNobodyReadsFromAreLeftAtTheSecondSignal)
{
    MakeSample("one.pdf", 1);
    const QString fifo = Path("fifo");
    ASSERT_EQ(::mkfifo(fifo.toStdString().c_str(), S_IRWXU), 0);
    // For reading, too, so that neither end waits for the other to be opened.
    const int full = ::open(fifo.toStdString().c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(full, 0);
    while (::write(full, "x", 1) == 1) {
    }
    Write("empty.jsonl", "");
    for (const QStringList& arguments :
         {QStringList{"--temp-dir", TempDir(), "one.pdf", "-o", "-", "-f", "bmp"},
          QStringList{"report", "empty.jsonl", "--json"}}) {
        QProcess process;
        process.setWorkingDirectory(Path(""));
        process.setStandardOutputFile(fifo);
        process.start(PDFCONVERT, arguments);
        ASSERT_TRUE(process.waitForStarted());
        EXPECT_EQ(EndBySignals(process, 2), 128 + SIGTERM);
    }
    EXPECT_EQ(LeftInTempDir(), QStringList());
    ::close(full);
}

TEST_F(StreamsTest, AreNotReplacedWhereTheyAreFiles)
{
    MakeSample("one.pdf", 1);
    const QString stream = Path("stream"); // as /dev/stdout is one
    ASSERT_TRUE(QFile::link("/proc/self/fd/1", stream));
    for (const QString what : {"number", "overwrite"}) {
        const Outcome run =
            RunLine("pdfconvert one.pdf -o stream -f txt --on-exists " + what + " >file");
        EXPECT_EQ(run.exitCode, 5);
        EXPECT_THAT(run.complaints, HasSubstr("stream is a device or a pipe"));
        EXPECT_TRUE(QFileInfo(stream).isSymLink());
    }
    EXPECT_FALSE(QFile::exists(Path("stream(2)")));
}

TEST_F(StreamsTest, MayBeReadByNobodyFromTheFirstMessageOn)
{
    MakeSample("one.pdf", 1);
    const Outcome run = RunLine("mkfifo unread; exec 3<>unread 4>unread 3<&-;"
                                "exec pdfconvert one.pdf -o one.png --password told 2>&4");
    EXPECT_EQ(run.exitCode, 0) << "of a message before there is any worker";
    EXPECT_TRUE(QFile::exists(Path("one.png")));
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

TEST_F(StreamsTest, GoOnWhereFilesMayGrowNoFurther)
{
    MakeSample("one.pdf", 1);
    const Outcome journal = RunLine("ulimit -f 1; exec pdfconvert one.pdf -d out --journal j");
    EXPECT_EQ(journal.exitCode, 5) << "before anything is made";
    EXPECT_THAT(journal.complaints, HasSubstr("cannot write the journal j"));
    EXPECT_FALSE(QFile::exists(Path("out/one-1.png")));
    EXPECT_EQ(LeftInTempDir(), QStringList());

    const Outcome result = RunLine("ulimit -f 4; exec pdfconvert one.pdf -d out --journal j2");
    EXPECT_EQ(result.exitCode, 10);
    EXPECT_THAT(result.complaints, HasSubstr("one.pdf"));
    EXPECT_EQ(QDir(Path("out")).entryList(QDir::Files), QStringList());
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

} // namespace
} // namespace Korvel::App
