// Where passwords must not be found: while documents are converted, and afterwards.

#include "FilesBelow.h"
#include "IsSanitized.h"
#include "Program.h"
#include "PseudoTerminal.h"

#include <csignal>
#include <functional>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QFile>
#include <QFileInfo>

namespace Korvel::App {
namespace {

using testing::HasSubstr;
using testing::Not;

const QByteArray secret = "Zq7xKw-unlikely-to-be-found-WvB3";

/** A process that does nothing as long as this lives. */
class Stopped
{
public:
    explicit Stopped(pid_t process) : process(process)
    {
        if (process <= 0) // it has ended
            return;
        ::kill(process, SIGSTOP);
        siginfo_t info = {};
        ::waitid(P_PID, id_t(process), &info, WSTOPPED | WEXITED | WNOWAIT);
        isStopped = info.si_code == CLD_STOPPED;
    }
    ~Stopped()
    {
        if (process > 0)
            ::kill(process, SIGCONT);
    }

    bool IsStopped() const { return isStopped; }

private:
    Stopped(const Stopped&) = delete;
    Stopped& operator=(const Stopped&) = delete;

    const pid_t process;
    bool isStopped = false;
};

/** As itself, as a request carries it, and as Qt keeps text. */
QList<QByteArray> FormsOf(const QByteArray& password)
{
    QList<QByteArray> forms{password, password.toBase64()};
    for (const QByteArray& form : {password, password.toBase64()}) {
        const QString text = QString::fromLatin1(form);
        forms << QByteArray(reinterpret_cast<const char*>(text.utf16()), 2 * text.size());
    }
    return forms;
}

int CountIn(const QByteArray& bytes, const QByteArray& password)
{
    int count = 0;
    for (const QByteArray& form : FormsOf(password))
        count += bytes.count(form);
    return count;
}

bool IsIn(const QByteArray& bytes)
{
    return CountIn(bytes, secret) > 0;
}

/** What /proc says of a process; nothing where even its own user may not look. */
QByteArray InProc(const QString& process, const char* name)
{
    QFile file("/proc/" + process + "/" + name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/** Memory that a process can write to. Nothing where even its own user may not look. */
QByteArray Memory(const QString& process)
{
    QByteArray all;
    QFile memory("/proc/" + process + "/mem");
    if (!memory.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return all;
    for (const QByteArray& line : InProc(process, "maps").split('\n')) {
        const QList<QByteArray> range = line.left(line.indexOf(' ')).split('-');
        if (!line.contains(" rw") || !memory.seek(range[0].toLongLong(nullptr, 16)))
            continue;
        all += memory.read(range[1].toLongLong(nullptr, 16) - range[0].toLongLong(nullptr, 16));
    }
    return all;
}

QString Id(const QProcess& process)
{
    return QString::number(process.processId());
}

/** A way to give the command the password. */
struct Way
{
    const char* name;
    QStringList arguments;
    /** What is set up for it. */
    std::function<void(QProcessEnvironment&)> prepare = [](QProcessEnvironment&) {
    };
};

void PrintTo(const Way& way, std::ostream* stream)
{
    *stream << way.name;
}

void SetVariable(QProcessEnvironment& environment, const char* name)
{
    environment.insert(name, secret);
}

const Way ways[] = {{"File", {"--password-file", "pw"}},
                    {"Map", {"--password-map", "map"}},
                    {"Option", {"--password", secret}},
                    {"OptionInOneArgument", {"--password=" + secret}},
                    {"Descriptor", {"--password-fd", "7"}},
                    {"Variable",
                     {"--password-env", "MY_PASSWORD"},
                     [](QProcessEnvironment& environment) {
                         SetVariable(environment, "MY_PASSWORD");
                     }},
                    {"DefaultVariable", {}, [](QProcessEnvironment& environment) {
                         SetVariable(environment, "PDFCONVERT_PASSWORD");
                     }}};

class SecretsTest : public ProgramTest
{
protected:
    SecretsTest()
    {
        Write("pw", secret + "\n");
        Write("map", "secret.pdf\t" + secret + "\n");
    }

    /** Starts the command, with the file pw as descriptor 7. */
    std::unique_ptr<QProcess> StartWith(const QStringList& arguments,
                                        const QProcessEnvironment& environment) const
    {
        auto process = std::make_unique<QProcess>();
        process->setWorkingDirectory(Path(""));
        process->setProcessEnvironment(environment);
        process->start("setsid", QStringList{"--wait", "bash", "-c", "exec \"$@\" 7<pw", "bash",
                                             PDFCONVERT, "--temp-dir", TempDir()} +
                                     arguments);
        EXPECT_TRUE(process->waitForStarted());
        return process;
    }

    void WaitForFile(QProcess& process, const QString& name) const
    {
        while (!QFile::exists(Path(name)) && !process.waitForFinished(1)) {
        }
    }

    /** Files with the password, but for those that the test has written. */
    QStringList FilesThatTell() const
    {
        QStringList found;
        for (const QString& path : PDF::Test::FilesBelow(Path(""))) {
            QFile file(path);
            if (file.open(QIODevice::ReadOnly) && IsIn(file.readAll()))
                found << QFileInfo(path).fileName();
        }
        found.removeOne("pw");
        found.removeOne("map");
        return found;
    }

    void ExpectNothingIn(const QString& process, const char* what) const
    {
        EXPECT_FALSE(IsIn(InProc(process, "cmdline"))) << what;
        EXPECT_FALSE(IsIn(InProc(process, "environ"))) << what;
        // Processes of workers end while others are looked at.
        EXPECT_THAT(InProc(process, "limits").toStdString(),
                    testing::AnyOf("", testing::ContainsRegex("Max core file size +0 +0 ")));
    }

    void ExpectNothingIn(const QProcess& command) const
    {
        ExpectNothingIn(Id(command), "the command");
        const QStringList workers = Descendants(command);
        EXPECT_FALSE(workers.isEmpty());
        for (const QString& worker : workers)
            ExpectNothingIn(worker, "a worker");
        EXPECT_EQ(FilesThatTell(), QStringList());
    }
};

class SecretsTest_EveryWay : public SecretsTest, public testing::WithParamInterface<Way>
{
protected:
    std::unique_ptr<QProcess> StartIt(const QStringList& arguments) const
    {
        auto environment = QProcessEnvironment::systemEnvironment();
        GetParam().prepare(environment);
        return StartWith(QStringList{"secret.pdf"} + arguments + GetParam().arguments, environment);
    }

    /** Runs it to its end; neither its messages nor its files tell the password. */
    void ExpectSilence(const QStringList& arguments, int exitCode)
    {
        const auto process = StartIt(arguments);
        const Outcome run = Finish(*process);
        EXPECT_EQ(run.exitCode, exitCode) << run.complaints;
        EXPECT_FALSE(IsIn(run.results.join('\n').toUtf8())) << arguments.join(' ').toStdString();
        EXPECT_FALSE(IsIn(QByteArray::fromStdString(run.complaints)))
            << arguments.join(' ').toStdString();
        EXPECT_EQ(FilesThatTell(), QStringList());
    }

    /** In each form that messages have, with the records of every level. */
    void ExpectSilenceInEachForm(int exitCode)
    {
        ExpectSilence({"-o", "a/%d.png", "-r", "20", "-v", "99", "--json"}, exitCode);
        ExpectSilence({"-o", "b/%d.png", "-r", "20", "-v", "99", "--progress", "json"}, exitCode);
    }
};

INSTANTIATE_TEST_SUITE_P(, SecretsTest_EveryWay, testing::ValuesIn(ways),
                         [](const auto& way) { return way.param.name; });

TEST_P(SecretsTest_EveryWay, IsSeenInNoProcessAndNoFileMeanwhile)
{
    MakeSample("secret.pdf", 200, secret);
    const auto process = StartIt({"-o", "p/%d.png", "-r", "40"});
    WaitForFile(*process, "p/1.png");
    {
        const Stopped stopped(pid_t(process->processId()));
        ASSERT_TRUE(stopped.IsStopped());
        ExpectNothingIn(*process);
    }
    EXPECT_EQ(Finish(*process).exitCode, 0);
    EXPECT_EQ(FilesThatTell(), QStringList());
}

TEST_P(SecretsTest_EveryWay, IsToldByNoMessage)
{
    MakeSample("secret.pdf", 1, secret);
    ExpectSilenceInEachForm(0);
}

TEST_P(SecretsTest_EveryWay, IsToldByNoMessageWhenItIsWrong)
{
    MakeSample("secret.pdf", 1, "another");
    ExpectSilenceInEachForm(8);
}

TEST_P(SecretsTest_EveryWay, IsToldByNoMessageWhenTheDocumentIsDamaged)
{
    MakeSample("whole.pdf", 1, secret);
    Write("secret.pdf", Read("whole.pdf").left(2000));
    ExpectSilenceInEachForm(4);
}

TEST_F(SecretsTest, OfADescriptorIsHandedToNoOtherProgram)
{
    MakeSample("secret.pdf", 60, secret);
    const auto process =
        StartWith({"secret.pdf", "-o", "p/%d.png", "-r", "40", "--password-fd", "7"},
                  QProcessEnvironment::systemEnvironment());
    WaitForFile(*process, "p/1.png");
    {
        const Stopped stopped(pid_t(process->processId()));
        ASSERT_TRUE(stopped.IsStopped());
        const QString flags = InProc(Id(*process), "fdinfo/7").split('\n').value(1);
        EXPECT_TRUE(flags.section('\t', 1).toInt(nullptr, 8) & O_CLOEXEC) << flags.toStdString();
    }
    EXPECT_EQ(Finish(*process).exitCode, 0);
}

TEST_F(SecretsTest, IsSeenNowhereAfterItWasTyped)
{
    MakeSample("secret.pdf", 1, secret);
    for (const char* option : {"--ask-password", "--verbose=99"}) {
        PseudoTerminal terminal(
            PDFCONVERT, {"--temp-dir", TempDir(), "secret.pdf", "-d", option, "-r", "20", option},
            Path(""));
        ASSERT_TRUE(terminal.WaitFor("Password")) << terminal.Screen();
        ASSERT_TRUE(terminal.WaitFor(": ")) << terminal.Screen();
        terminal.Type(secret.toStdString() + "\n");
        EXPECT_EQ(terminal.Finish(), 0) << terminal.Screen();
        EXPECT_FALSE(IsIn(QByteArray::fromStdString(terminal.Screen())));
        EXPECT_EQ(FilesThatTell(), QStringList());
    }
}

/** Memory, looked into while the second of two documents is converted. */
class PasswordsInMemoryTest : public SecretsTest, public testing::WithParamInterface<QByteArray>
{
protected:
    void SetUp() override
    {
        if (PDF::Test::isSanitized)
            GTEST_SKIP() << "sanitizers have a way of their own with memory";
        if (::geteuid() != 0)
            GTEST_SKIP() << "only the administrator sees the workers' memory";
    }

    const QByteArray first = GetParam() + "-first";
    const QByteArray second = GetParam() + "-second";
};

INSTANTIATE_TEST_SUITE_P(, PasswordsInMemoryTest,
                         testing::Values("Zq7xKw-longer-than-text-within-an-object", "Zq7xKw"),
                         [](const auto& length) { return length.index == 0 ? "Long" : "Short"; });

TEST_P(PasswordsInMemoryTest, AreGoneWhenTheirDocumentsAreConverted)
{
    MakeSample("one.pdf", 1, first);
    MakeSample("two.pdf", 60, second);
    Write("map", "one.pdf\t" + first + "\ntwo.pdf\t" + second + "\n");
    const auto process = StartWith(
        {"one.pdf", "two.pdf", "-o", "p/%s-%d.png", "-r", "40", "--password-map", "map", "-j", "1"},
        QProcessEnvironment::systemEnvironment());
    // While the first pages are drawn, those who opened the document are still being told to end.
    WaitForFile(*process, "p/two-9.png");
    {
        const Stopped stopped(pid_t(process->processId()));
        ASSERT_TRUE(stopped.IsStopped());
        const QByteArray memory = Memory(Id(*process));
        ASSERT_TRUE(memory.contains("two.pdf"));
        EXPECT_EQ(CountIn(memory, first), 0);
        // The second one itself is kept, for pages that have to be converted once more.
        EXPECT_EQ(CountIn(memory, second), memory.count(second));
        const QStringList workers = Descendants(*process);
        EXPECT_GE(workers.size(), 3) << "the program, and two children of it";
        for (const QString& worker : workers) {
            const QByteArray ofWorker = Memory(worker);
            ASSERT_FALSE(ofWorker.isEmpty());
            EXPECT_EQ(CountIn(ofWorker, first), 0);
            EXPECT_EQ(CountIn(ofWorker, second), 0);
        }
    }
    EXPECT_EQ(Finish(*process).exitCode, 0);
}

} // namespace
} // namespace Korvel::App
