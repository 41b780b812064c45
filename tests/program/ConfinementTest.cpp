// What confines the workers, seen from outside: where parts of it are missing, and what reaches
// them.

#include "Program.h"

#include <csignal>
#include <vector>

#include <gmock/gmock.h>

#include <QDir>
#include <QFile>

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

QList<QByteArray> EnvironmentOf(const QString& process)
{
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
    while (QDir(Path("out")).isEmpty() && !process.waitForFinished(1)) {
    }
    int seen = 0;
    for (const QString& worker : Descendants(process)) {
        for (const QByteArray& variable : EnvironmentOf(worker)) {
            const std::string name = variable.left(variable.indexOf('=')).toStdString();
            EXPECT_THAT(name, testing::AnyOf("", "GLIBC_TUNABLES", "LD_LIBRARY_PATH",
                                             "QT_PLUGIN_PATH", testing::EndsWith("SAN_OPTIONS")));
            seen += name == "QT_PLUGIN_PATH" ? 1 : 0;
        }
    }
    EXPECT_GE(seen, 4) << "two programs, and a child of each";
    Send(SIGTERM, process);
    EXPECT_EQ(Finish(process).exitCode, 128 + SIGTERM);
}

} // namespace
} // namespace Korvel::App
