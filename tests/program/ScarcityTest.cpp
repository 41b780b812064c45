// Machines that have no room: for another process or thread, for another open file, for memory.

#include "IsSanitized.h"
#include "Program.h"

#include <gmock/gmock.h>

#include <QDir>

#include <sys/stat.h>
#include <unistd.h>

namespace Korvel::App {
namespace {

using testing::HasSubstr;
using testing::Not;

/** Runs the command as a user who has nothing else, since no limit of processes binds root. */
class ScarcityTest : public ProgramTest
{
protected:
    void SetUp() override
    {
        if (::geteuid() != 0)
            GTEST_SKIP() << "root alone can be another user";
        if (PDF::Test::isSanitized)
            GTEST_SKIP() << "sanitizers take threads and memory of their own";
        MakeSample("two.pdf", 2);
        for (const char* name : {"", "temp"})
            ASSERT_EQ(::chmod(Path(name).toUtf8().constData(), 0755), 0);
        ASSERT_TRUE(QDir(Path("")).mkdir("out"));
        for (const char* name : {"out", "temp"})
            ASSERT_EQ(::chown(Path(name).toUtf8().constData(), user, user), 0);
        if (QProcess::execute("setpriv", AsUser({"test", "-x", PDFCONVERT})) != 0)
            GTEST_SKIP() << "another user does not reach the command";
    }

    QStringList AsUser(const QStringList& command) const
    {
        const QString number = QString::number(user);
        return QStringList{"--reuid", number, "--regid", number, "--clear-groups"} + command;
    }

    /** Under limits as prlimit takes them; it ends long before that, but never hangs. */
    Outcome RunUnder(const QStringList& limits, const QStringList& arguments) const
    {
        QProcess process;
        process.setWorkingDirectory(Path("out"));
        process.start("timeout",
                      QStringList{"-s", "KILL", "20", "setpriv"} +
                          AsUser(QStringList{"prlimit"} + limits +
                                 QStringList{PDFCONVERT, "--temp-dir", TempDir()} + arguments));
        process.closeWriteChannel();
        return Finish(process);
    }

    /** Converts all, or says what the machine has too little of; the exit code. */
    int ExpectResultsOrReason(const QString& limit)
    {
        SCOPED_TRACE(limit.toStdString());
        const Outcome run = RunUnder({limit}, {Path("two.pdf"), "-d", "pages", "-r", "30"});
        const auto pictures = WholePictures("out/pages").size();
        if (run.exitCode == 0) {
            EXPECT_EQ(pictures, 2);
        } else {
            EXPECT_THAT(run.exitCode, testing::AnyOf(1, 7));
            EXPECT_THAT(run.complaints, testing::ContainsRegex("cannot start|more memory"));
        }
        EXPECT_THAT(run.complaints, Not(HasSubstr("damaged")));
        EXPECT_THAT(run.complaints, Not(HasSubstr("QCoreApplication")))
            << "which users cannot mend";
        EXPECT_EQ(LeftInTempDir(), QStringList());
        QDir(Path("out/pages")).removeRecursively();
        return run.exitCode;
    }

    /** Of this test alone: the processes of a user are counted wherever they come from. */
    const unsigned user = 100'000 + unsigned(::getpid());
};

TEST_F(ScarcityTest, OfProcessesIsTold)
{
    int failed = 0;
    for (int processes = 0; processes <= 12; ++processes) {
        const int code = ExpectResultsOrReason(QStringLiteral("--nproc=%1").arg(processes));
        EXPECT_LE(code, 1);
        failed += code;
    }
    EXPECT_GE(failed, 5);
    EXPECT_EQ(ExpectResultsOrReason("--nproc=40"), 0);
}

TEST_F(ScarcityTest, OfProcessesHasDocumentsOpenedOneAfterAnother)
{
    QStringList inputs;
    for (const char* name : {"1.pdf", "2.pdf", "3.pdf", "4.pdf"}) {
        ASSERT_TRUE(QFile::copy(Path("two.pdf"), Path(name)));
        inputs.append(Path(name));
    }
    int opened = 0;
    for (int processes = 4; processes <= 20; ++processes) {
        const QString limit = QStringLiteral("--nproc=%1").arg(processes);
        const auto openWith = [&](int count, int jobs) {
            return RunUnder({limit},
                            inputs.mid(0, count) + QStringList{"--dry-run", "-d", "pages", "-j",
                                                               QString::number(jobs)});
        };
        if (openWith(4, 1).exitCode != 0)
            continue;
        for (const int count : {2, 4}) {
            const Outcome run = openWith(count, count);
            EXPECT_EQ(run.exitCode, 0) << processes << ' ' << run.complaints;
            EXPECT_EQ(run.results.size(), 2 * count);
        }
        ++opened;
    }
    EXPECT_GE(opened, 5);
}

TEST_F(ScarcityTest, OfProcessesHasDocumentsConvertedOneAfterAnother)
{
    QStringList inputs;
    for (const char* name : {"1.pdf", "2.pdf", "3.pdf"}) {
        ASSERT_TRUE(QFile::copy(Path("two.pdf"), Path(name)));
        inputs.append(Path(name));
    }
    int converted = 0;
    for (int processes = 4; processes <= 20; ++processes) {
        const auto convertWith = [&](const QStringList& some, const char* jobs) {
            QDir(Path("out/pages")).removeRecursively();
            return RunUnder({QStringLiteral("--nproc=%1").arg(processes)},
                            some +
                                QStringList{"-d", "pages", "-r", "30", "--no-input", "-j", jobs});
        };
        if (convertWith(inputs.mid(0, 1), "1").exitCode != 0)
            continue;
        for (const char* jobs : {"1", "3"}) {
            const Outcome run = convertWith(inputs, jobs);
            EXPECT_EQ(run.exitCode, 0) << processes << ' ' << run.complaints;
            EXPECT_EQ(WholePictures("out/pages").size(), 6);
        }
        ++converted;
    }
    EXPECT_GE(converted, 5);
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

TEST_F(ScarcityTest, OfProcessesHasDocumentsCopiedOneAfterAnother)
{
    QStringList inputs;
    for (const char* name : {"1.pdf", "2.pdf", "3.pdf"})
        inputs.append(MakeSample(name, 2, "pw"));
    Write("pw", "pw");
    const auto convertUnder = [&](int processes, const QStringList& some) {
        QDir(Path("out/pages")).removeRecursively();
        return RunUnder({QStringLiteral("--nproc=%1").arg(processes)},
                        some + QStringList{"-d", "pages", "-r", "30", "--password-file", Path("pw"),
                                           "-j", "3", "--on-exists", "number"});
    };
    int least = 4;
    while (least < 20 && convertUnder(least, inputs.mid(0, 1)).exitCode != 0)
        ++least;
    // While a copy is made for one document, others are drawn: a thread and a process for each.
    for (int processes = least + 2; processes <= least + 12; ++processes) {
        for (const QStringList& some : {inputs, {inputs[0], inputs[0], inputs[0]}}) {
            const Outcome run = convertUnder(processes, some);
            EXPECT_EQ(run.exitCode, 0) << processes << ' ' << run.complaints;
            EXPECT_EQ(WholePictures("out/pages").size(), 6);
        }
    }
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

TEST_F(ScarcityTest, OfProcessesEndsNothingElseOfTheUser)
{
    QProcess other;
    other.start("setpriv", AsUser({"sleep", "120"}));
    ASSERT_TRUE(other.waitForStarted());
    for (int processes = 3; processes <= 8; ++processes)
        ExpectResultsOrReason(QStringLiteral("--nproc=%1").arg(processes));
    EXPECT_EQ(RunUnder({"--nproc=2"}, {"--version"}).exitCode, 1);
    EXPECT_FALSE(other.waitForFinished(0));
    EXPECT_EQ(other.state(), QProcess::Running);
    other.kill();
    other.waitForFinished();
}

TEST_F(ScarcityTest, OfDescriptorsIsTold)
{
    // With fewer, the system cannot load the command's libraries.
    for (int files = 8; files <= 64; files += 4)
        EXPECT_LE(ExpectResultsOrReason(QStringLiteral("--nofile=%1").arg(files)), 1);
    EXPECT_EQ(ExpectResultsOrReason("--nofile=256"), 0);
}

TEST_F(ScarcityTest, OfMemoryIsTold)
{
    // With less, the system cannot load the command's libraries. Where the command has enough and a
    // worker has not, it is as with --memory-limit.
    for (int mebibytes = 60; mebibytes <= 400; mebibytes += 20)
        ExpectResultsOrReason(QStringLiteral("--as=%1").arg(qint64(mebibytes) << 20));
}

TEST_F(ScarcityTest, OfProcessesIsNoDocumentsFaultInAJournal)
{
    const QStringList arguments{Path("two.pdf"), "-d", "pages", "-r", "30", "--journal", "j"};
    const Outcome failed = RunUnder({"--nproc=3"}, arguments);
    EXPECT_EQ(failed.exitCode, 1);
    EXPECT_THAT(failed.complaints, HasSubstr("cannot start a worker: "));
    EXPECT_FALSE(Read("out/j").contains("\"failed\""));
    EXPECT_EQ(RunUnder({}, arguments).exitCode, 0);
    EXPECT_EQ(WholePictures("out/pages").size(), 2);
}

} // namespace
} // namespace Korvel::App
