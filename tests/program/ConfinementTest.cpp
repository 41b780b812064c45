// What confines the workers, seen from outside: where parts of it are missing, and what reaches
// them.

#include "DescribedJson.h"
#include "IsSanitized.h"
#include "Program.h"

#include <cerrno>
#include <csignal>
#include <vector>

#include <gmock/gmock.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSet>

#include <sys/inotify.h>
#include <unistd.h>

namespace Korvel::App {
namespace {

using testing::HasSubstr;

/** A measure as Deprive knows it, the errors that machines without it answer, and its name. */
struct Measure
{
    const char* part;
    QStringList errors;
    /** None where nobody is told. */
    const char* name;
};

const std::vector<Measure>& Measures()
{
    static const std::vector<Measure> measures{
        {"landlock", {"ENOSYS", "EOPNOTSUPP", "EPERM"}, "file access (Landlock)"},
        {"landlock-last", {"EPERM"}, "file access (Landlock)"},
        {"seccomp", {"ENOSYS", "EPERM", "EINVAL"}, "system calls (seccomp)"},
        {"privileges", {"EINVAL", "EPERM"}, "no new privileges"},
        {"core", {"EINVAL"}, "no core dump"},
        {"death", {"EINVAL"}, ""},
        {"memory", {"EPERM"}, "memory limit"},
        {"time", {"EPERM"}, "CPU time limit"},
        {"file-size", {"EPERM"}, "file size limit"},
        {"descriptors", {"EPERM"}, "descriptor limit"},
        {"processes", {"EPERM"}, "process limit"}};
    return measures;
}

class ConfinementTest : public ProgramTest
{
protected:
    ConfinementTest() { MakeSample("in.pdf", 1); }

    Outcome RunWithout(const QString& parts, const QStringList& arguments) const
    {
        QProcess process;
        process.setWorkingDirectory(Path(""));
        process.start(DEPRIVE, QStringList{parts, PDFCONVERT, "--temp-dir", TempDir()} + arguments);
        process.closeWriteChannel();
        return Finish(process);
    }

    /** Converts a document to a picture that is whole, and tells what is missing. */
    void ExpectToConvertWithout(const QString& parts, const std::vector<const char*>& missing)
    {
        SCOPED_TRACE(parts.toStdString());
        const QString folder = QStringLiteral("out-%1").arg(++runs);
        const Outcome run = RunWithout(parts, {"in.pdf", "-d", folder, "-v", "1"});
        EXPECT_EQ(run.exitCode, 0) << run.complaints;
        EXPECT_EQ(WholePictures(folder).size(), 1);
        for (const char* name : missing)
            EXPECT_THAT(run.complaints, HasSubstr(name));
        EXPECT_EQ(LeftInTempDir(), QStringList());
    }

    int runs = 0;
};

TEST_F(ConfinementTest, ConvertsWithoutAnyOneMeasureAndTellsWhich)
{
    for (const Measure& measure : Measures()) {
        for (const QString& error : measure.errors)
            ExpectToConvertWithout(QStringLiteral("%1=%2").arg(measure.part, error),
                                   {measure.name});
    }
}

TEST_F(ConfinementTest, ConvertsWithoutAnyTwoMeasuresAndTellsWhich)
{
    const std::vector<Measure>& all = Measures();
    for (auto one = all.begin(); one != all.end(); ++one) {
        for (auto other = one + 1; other != all.end(); ++other) {
            const QString parts =
                QStringLiteral("%1=%2,%3=%4")
                    .arg(one->part, one->errors.front(), other->part, other->errors.front());
            ExpectToConvertWithout(parts, {one->name, other->name});
        }
    }
}

TEST_F(ConfinementTest, ConvertsWithoutAnyMeasureAtAll)
{
    QStringList parts;
    std::vector<const char*> names;
    for (const Measure& measure : Measures()) {
        parts << QStringLiteral("%1=%2").arg(measure.part, measure.errors.front());
        names.push_back(measure.name);
    }
    ExpectToConvertWithout(parts.join(','), names);
}

/** How often a text is said. */
int Count(const std::string& text, const std::string& part)
{
    return int(QString::fromStdString(text).count(QString::fromStdString(part)));
}

TEST_F(ConfinementTest, SaysOnceInARunWhichFilterIsMissing)
{
    if (PDF::Test::isSanitized)
        GTEST_SKIP() << "the build lacks one, whatever the machine has";
    MakeSample("second.pdf", 2);
    const QStringList inputs{"in.pdf", "second.pdf", "-r", "20", "-j", "2"};
    const auto run = [&](const QString& parts, const QStringList& further) {
        return RunWithout(parts, inputs + QStringList{"-d", QString::number(++runs)} + further);
    };
    for (const char* name : {"file access (Landlock)", "system calls (seccomp)"}) {
        const QString parts =
            QString(name).contains("Landlock") ? "landlock=ENOSYS" : "seccomp=ENOSYS";
        EXPECT_EQ(Count(run(parts, {}).complaints, name), 1);
        EXPECT_EQ(run(parts, {"-q"}).complaints, "");
        const std::string events = run(parts, {"--progress", "json"}).complaints;
        EXPECT_EQ(Count(events, "\"event\":\"note\""), 1) << events;
        EXPECT_EQ(Count(events, name), 1) << events;
        ExpectDescribed(QByteArray::fromStdString(events));
        const Outcome json = run(parts, {"--json", "-q"});
        EXPECT_EQ(Count(json.results.join("").toStdString(), name), 1);
        ExpectDescribed(json.results.join('\n').toUtf8());
        EXPECT_EQ(json.exitCode, 0);
        EXPECT_EQ(Count(RunWithout(parts, {"in.pdf", "--inspect"}).complaints, name), 1);
    }
    EXPECT_EQ(Count(run("landlock=ENOSYS,seccomp=ENOSYS", {}).complaints,
                    "file access (Landlock), system calls (seccomp)"),
              1);
    EXPECT_EQ(Count(run("memory=EPERM", {}).complaints, "not in force"), 0);
}

TEST_F(ConfinementTest, ConvertsNothingWithoutAMeasureThatIsRequired)
{
    const int watch = ::inotify_init1(IN_NONBLOCK);
    ASSERT_GE(::inotify_add_watch(watch, Path("in.pdf").toUtf8().constData(), IN_OPEN), 0);
    for (const Measure& measure : Measures()) {
        if (std::string(measure.name).empty())
            continue;
        for (const QString& error : measure.errors) {
            const QString parts = QStringLiteral("%1=%2").arg(measure.part, error);
            SCOPED_TRACE(parts.toStdString());
            const Outcome run = RunWithout(parts, {"in.pdf", "-d", "out", "--require-sandbox",
                                                   "--journal", Path("journal"), "--json"});
            EXPECT_EQ(run.exitCode, 1);
            EXPECT_THAT(run.complaints, HasSubstr(measure.name));
            EXPECT_TRUE(run.results.join("").contains("\"reason\": \"unconfined\""));
            ExpectDescribed(run.results.join('\n').toUtf8());
            EXPECT_FALSE(QFile::exists(Path("out")));
            EXPECT_EQ(LeftInTempDir(), QStringList());
        }
    }
    char event = 0;
    EXPECT_EQ(::read(watch, &event, 1), -1) << "the document was opened";
    EXPECT_EQ(errno, EAGAIN);
    ::close(watch);
    const QStringList again{"in.pdf", "-d", "out", "--journal", Path("journal")};
    EXPECT_EQ(RunWithout("landlock=ENOSYS", again).exitCode, 0) << "it was nobody's fault";
    EXPECT_EQ(WholePictures("out").size(), 1);
}

TEST_F(ConfinementTest, ConvertsWhereAllIsThereThatIsRequired)
{
    if (!Run({"--version"}).results.filter(QRegularExpression(": no$")).isEmpty())
        GTEST_SKIP() << "this machine, or this build, lacks something";
    const Outcome run = Run({"in.pdf", "-d", "out", "--require-sandbox"});
    EXPECT_EQ(run.exitCode, 0) << run.complaints;
    EXPECT_EQ(WholePictures("out").size(), 1);
}

TEST_F(ConfinementTest, SaysThatTheLimitOfProcessesDoesNotBindRoot)
{
    if (PDF::Test::isSanitized)
        GTEST_SKIP() << "it has none";
    const auto version = [](const QStringList& user) {
        QProcess process;
        process.setWorkingDirectory("/");
        const QStringList command = user + QStringList{PDFCONVERT, "--version"};
        process.start(command.front(), command.mid(1));
        return Finish(process).results.join('\n').toStdString();
    };
    const bool isRoot = ::geteuid() == 0;
    EXPECT_THAT(version({}),
                HasSubstr(isRoot ? "process limit: not as root" : "process limit: yes"));
    const QStringList another{"setpriv", "--reuid", "12345", "--regid", "12345", "--clear-groups"};
    if (isRoot && !version(another).empty()) {
        EXPECT_THAT(version(another), HasSubstr("process limit: yes"));
    }
}

/** None of a process that has yet to become a worker, since it has its parent's until then. */
QList<QByteArray> EnvironmentOfWorker(const QString& process)
{
    const QString program = QFileInfo("/proc/" + process + "/exe").symLinkTarget();
    if (!QFileInfo(program).fileName().startsWith("pdfconvert-worker"))
        return {};
    QFile file("/proc/" + process + "/environ");
    return file.open(QIODevice::ReadOnly) ? file.readAll().split('\0') : QList<QByteArray>();
}

TEST_F(ConfinementTest, LetsNoWorkerSeeMoreOfTheEnvironmentThanItNeeds)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "root alone looks into workers";
    MakeSample("long.pdf", 100);
    QProcess process;
    process.setWorkingDirectory(Path(""));
    process.start("env", {"SECRET_OF_THE_USER=told-to-nobody", "QT_PLUGIN_PATH=", PDFCONVERT,
                          "--temp-dir", TempDir(), "long.pdf", "-o", "out/%d.png", "-r", "200"});
    // A further process joins once pages have waited for it.
    QSet<QString> seen;
    while (seen.size() < 3 && !process.waitForFinished(1)) {
        for (const QString& worker : Descendants(process)) {
            for (const QByteArray& variable : EnvironmentOfWorker(worker)) {
                const std::string name = variable.left(variable.indexOf('=')).toStdString();
                EXPECT_THAT(name,
                            testing::AnyOf("", "GLIBC_TUNABLES", "LD_LIBRARY_PATH",
                                           "QT_PLUGIN_PATH", testing::EndsWith("SAN_OPTIONS")));
                if (name == "QT_PLUGIN_PATH")
                    seen.insert(worker);
            }
        }
    }
    EXPECT_GE(seen.size(), 3) << "the program, and two children of it";
    Send(SIGTERM, process);
    EXPECT_EQ(Finish(process).exitCode, 128 + SIGTERM);
}

} // namespace
} // namespace Korvel::App
