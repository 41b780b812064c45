#include "Program.h"
#include "PseudoTerminal.h"

#include <csignal>
#include <utility>

#include <gmock/gmock.h>

#include <QDir>
#include <QImage>

#include <sys/stat.h>
#include <unistd.h>

namespace Korvel::App {
namespace {

using testing::HasSubstr;

class OutputTest : public ProgramTest
{
protected:
    QStringList Files(const QString& folder) const
    {
        return QDir(Path(folder)).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    }
};

TEST_F(OutputTest, InAFolderIsNamedAfterItsInput)
{
    MakeSample("my report.v2.pdf", 2);
    EXPECT_EQ(Run({"my report.v2.pdf", "-d", "out/pages", "-r", "20"}).results,
              QStringList({"out/pages/my report.v2-1.png", "out/pages/my report.v2-2.png"}));
    EXPECT_EQ(Run({"my report.v2.pdf", "-d", "out", "-f", "txt"}).results,
              QStringList("out/my report.v2.txt"));
    EXPECT_EQ(Run({"my report.v2.pdf", "-d", "out", "-o", "%d/%s.jpg", "-r", "20"}).results,
              QStringList({"out/1/my report.v2.jpg", "out/2/my report.v2.jpg"}));
}

TEST_F(OutputTest, AndInputsMayHaveNamesThatBeginWithADash)
{
    MakeSample("-qt", 1);
    EXPECT_EQ(Run({"./-qt", "-o", "./-qt.png", "-r", "20"}).results, QStringList("./-qt.png"));
    EXPECT_EQ(Run({"--output=-qt-2.png", "-r", "20", "--", "-qt"}).results,
              QStringList("-qt-2.png"));
    ASSERT_TRUE(QFile::remove(Path("-qt")));
    EXPECT_EQ(WholePictures("."), QStringList({"-qt-2.png", "-qt.png"}));
}

TEST_F(OutputTest, ComesFromNoProgramOfTheWorkingFolderWhereTheWorkerIsMissing)
{
    MakeSample("a.pdf", 1);
    for (const char* const name : {"-qt", "pdfconvert-worker", "pdfconvert-worker-qt"}) {
        const QFile script(Write(name, "#!/bin/sh\ntouch was-run\n"));
        ASSERT_EQ(::chmod(script.fileName().toUtf8().constData(), 0755), 0);
    }
    QDir(Path("")).mkdir("bin");
    QDir(Path("")).mkdir("lib");
    ASSERT_TRUE(QFile::copy(PDFCONVERT, Path("bin/pdfconvert")));
    const QDir libraries(QFileInfo(PDFCONVERT).path() + "/../lib");
    for (const QString& name : libraries.entryList({"lib*.so*"}, QDir::Files))
        ASSERT_TRUE(QFile::copy(libraries.filePath(name), Path("lib/" + name)));
    QProcess alone;
    alone.setWorkingDirectory(Path(""));
    alone.start(Path("bin/pdfconvert"), {"a.pdf", "-o", "a.png", "--engine", "qt"});
    const Outcome run = Finish(alone);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.complaints, HasSubstr("pdfconvert-worker is not where it was installed"));
    EXPECT_FALSE(QFile::exists(Path("was-run")));
}

TEST_F(OutputTest, HasTheGivenFormatWhateverItsSuffix)
{
    MakeSample("one.pdf", 1);
    EXPECT_EQ(Run({"one.pdf", "-o", "page.dat", "-f", "png", "-r", "20"}).results,
              QStringList("page.dat"));
    EXPECT_EQ(Run({"one.pdf", "-o", "page", "-f", "jpg", "-r", "20"}).results, QStringList("page"));
    EXPECT_EQ(Run({"one.pdf", "-o", "page", "-f", "jpg", "-r", "20"}).results,
              QStringList("page(2)"));
    EXPECT_TRUE(Read("page.dat").startsWith("\x89PNG"));
    EXPECT_TRUE(Read("page").startsWith("\xff\xd8"));
}

TEST_F(OutputTest, GoesToStandardOutputAsItIs)
{
    MakeSample("two.pdf", 2);
    ASSERT_EQ(Run({"two.pdf", "-o", "p.png", "-r", "20", "--pages", "2"}).exitCode, 0);
    QProcess process;
    process.setWorkingDirectory(Path(""));
    process.setStandardOutputFile(Path("streamed.png"));
    process.start(PDFCONVERT, {"two.pdf", "-o", "-", "-f", "png", "-r", "20", "--pages", "2",
                               "--temp-dir", TempDir()});
    EXPECT_EQ(Finish(process).exitCode, 0);
    EXPECT_EQ(Read("streamed.png"), Read("p.png"));
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

TEST_F(OutputTest, ToStandardOutputIsOneResultAndNoTerminals)
{
    MakeSample("two.pdf", 2);
    const Outcome run = Run({"two.pdf", "-o", "-", "-f", "png"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(run.results, QStringList());
    EXPECT_THAT(run.complaints, HasSubstr("there would be 2; choose one page"));
    PseudoTerminal terminal(PDFCONVERT,
                            {"two.pdf", "-o", "-", "-f", "txt", "--temp-dir", TempDir()}, Path(""));
    EXPECT_EQ(terminal.Finish(), 2);
    EXPECT_THAT(terminal.Screen(), HasSubstr("standard output is a terminal"));
}

TEST_F(OutputTest, ToStandardOutputIsOneWhateverExists)
{
    MakeSample("one.pdf", 1);
    MakeSample("two.pdf", 1);
    for (const QString what : {"number", "fail", "skip", "overwrite"}) {
        const Outcome run =
            Run({"one.pdf", "two.pdf", "-o", "-", "-f", "txt", "--on-exists", what});
        EXPECT_EQ(run.exitCode, 2) << what.toStdString();
        EXPECT_EQ(run.results, QStringList());
        EXPECT_THAT(run.complaints,
                    HasSubstr("standard output takes one result, and there are 2 "
                              "documents; put their results into a folder with -d"));
    }
}

TEST_F(OutputTest, HasNoSizeBeforeItIsMade)
{
    MakeSample("one.pdf", 1);
    Write("page.png", "old");
    const Outcome run =
        Run({"one.pdf", "-o", "page.png", "--dry-run", "--json", "--on-exists", "overwrite"});
    EXPECT_THAT(run.results.join(' ').toStdString(), testing::Not(HasSubstr("bytes")));
}

TEST_F(OutputTest, ToAFullStandardOutputIsAnError)
{
    MakeSample("one.pdf", 1);
    QProcess process;
    process.setWorkingDirectory(Path(""));
    process.setStandardOutputFile("/dev/full");
    process.start(PDFCONVERT, {"one.pdf", "-o", "-", "-f", "png", "--temp-dir", TempDir()});
    EXPECT_EQ(Finish(process).exitCode, 5);
}

TEST_F(OutputTest, ThatExistsStopsItsDocumentUnderFail)
{
    MakeSample("two.pdf", 2);
    Write("p-2.png", "mine");
    const Outcome run = Run({"two.pdf", "-o", "p-%d.png", "-r", "20", "--on-exists", "fail"});
    EXPECT_EQ(run.exitCode, 6);
    EXPECT_THAT(run.complaints, HasSubstr("two.pdf: its result p-2.png exists already"));
    EXPECT_FALSE(QFile::exists(Path("p-1.png")));
    EXPECT_EQ(Read("p-2.png"), "mine");
}

TEST_F(OutputTest, ThatExistsIsLeftAwayUnderSkip)
{
    MakeSample("three.pdf", 3);
    Write("p-2.png", "mine");
    const QStringList arguments{"three.pdf", "-o", "p-%d.png", "-r", "20", "--on-exists", "skip"};
    EXPECT_EQ(Run(arguments).results, QStringList({"p-1.png", "p-3.png"}));
    EXPECT_EQ(Read("p-2.png"), "mine");
    const Outcome again = Run(arguments);
    EXPECT_EQ(again.exitCode, 0) << again.complaints;
    EXPECT_EQ(again.results, QStringList());
    EXPECT_EQ(again.complaints, "pdfconvert: 0 of 1 documents converted, 1 skipped\n");
}

TEST_F(OutputTest, ThatExistsIsReplacedUnderOverwriteAndNothingIsLeftBeside)
{
    MakeSample("two.pdf", 2);
    QDir(Path("")).mkdir("out");
    Write("out/1.png", "old");
    Write("elsewhere", "not this one");
    ASSERT_TRUE(QFile::link(Path("elsewhere"), Path("out/2.png")));
    const Outcome run =
        Run({"two.pdf", "-o", "out/%d.png", "-r", "20", "--on-exists", "overwrite"});
    EXPECT_EQ(run.exitCode, 0) << run.complaints;
    EXPECT_EQ(run.results, QStringList({"out/1.png", "out/2.png"}));
    EXPECT_EQ(WholePictures("out"), QStringList({"1.png", "2.png"}));
    EXPECT_EQ(Read("elsewhere"), "not this one");
}

TEST_F(OutputTest, IsReplacedAcrossVolumesToo)
{
    struct stat here = {};
    struct stat there = {};
    const QTemporaryDir temp(QStringLiteral("/dev/shm/XXXXXX"));
    if (::stat(Path("").toUtf8().constData(), &here) != 0 ||
        ::stat(temp.path().toUtf8().constData(), &there) != 0 || here.st_dev == there.st_dev)
        GTEST_SKIP() << "/dev/shm is no other volume";
    MakeSample("one.pdf", 1);
    QDir(Path("")).mkdir("out");
    Write("out/p.png", "old");
    QProcess process;
    process.setWorkingDirectory(Path(""));
    process.start(PDFCONVERT, {"one.pdf", "-o", "out/p.png", "-r", "20", "--on-exists", "overwrite",
                               "--temp-dir", temp.path()});
    const Outcome run = Finish(process);
    EXPECT_EQ(run.exitCode, 0) << run.complaints;
    EXPECT_EQ(WholePictures("out"), QStringList("p.png"));
}

TEST_F(OutputTest, MayReplaceItsOwnInput)
{
    MakeSample("secret.pdf", 1, "pw");
    Write("pw", "pw");
    EXPECT_EQ(
        Run({"secret.pdf", "-o", "secret.pdf", "--password-file", "pw", "--on-exists", "overwrite"})
            .exitCode,
        0);
    EXPECT_EQ(Run({"secret.pdf", "-o", "p.txt"}).exitCode, 0) << "it needs no password any more";
}

TEST_F(OutputTest, ReplacesNothingElseThatIsRead)
{
    QDir(Path("")).mkdir("sub");
    MakeSample("sub/a.pdf", 2);
    MakeSample("a.pdf", 1);
    MakeSample("secret.pdf", 1, "pw");
    const QByteArray secret = Read("secret.pdf");
    const QByteArray plain = Read("a.pdf");
    const Outcome run =
        Run({"sub/a.pdf", "a.pdf", "-d", ".", "-f", "pdf", "--on-exists", "overwrite"});
    EXPECT_EQ(run.exitCode, 10);
    EXPECT_THAT(run.complaints, HasSubstr("sub/a.pdf: its result ./a.pdf would replace a.pdf"));
    EXPECT_EQ(run.results, QStringList("./a.pdf")) << "its own result may";
    EXPECT_EQ(Read("a.pdf"), plain);

    EXPECT_EQ(Run({"a.pdf", "secret.pdf", "-o", "secret.pdf", "--on-exists", "overwrite"}).exitCode,
              10);
    EXPECT_EQ(Read("secret.pdf"), secret);
    Write("list", "a.pdf\n");
    for (const QString read : {"list", "journal"}) {
        EXPECT_EQ(Run({"--from-list", "list", "--journal", "journal", "-o", read, "-f", "txt",
                       "--on-exists", "overwrite"})
                      .exitCode,
                  10);
        QFile::remove(Path("journal"));
    }
    EXPECT_EQ(Read("list"), "a.pdf\n");
}

TEST_F(OutputTest, IsWholeAtAnyMomentWhileItIsReplaced)
{
    MakeSample("one.pdf", 1);
    const QStringList arguments{"one.pdf", "-o", "p.png", "-r", "100", "--on-exists", "overwrite"};
    ASSERT_EQ(Run(arguments).exitCode, 0);
    for (int round = 0; round < 3; ++round) {
        const auto process = Start(arguments);
        while (!process->waitForFinished(1))
            EXPECT_FALSE(QImage(Path("p.png")).isNull());
        const Outcome run = Finish(*process);
        EXPECT_EQ(run.exitCode, 0) << run.complaints;
    }
}

TEST_F(OutputTest, ThatIsAFolderIsNotReplaced)
{
    MakeSample("one.pdf", 1);
    QDir(Path("")).mkpath("p.png/inside");
    const Outcome run = Run({"one.pdf", "-o", "p.png", "--on-exists", "overwrite"});
    EXPECT_EQ(run.exitCode, 5);
    EXPECT_EQ(run.complaints, "pdfconvert: one.pdf: cannot write p.png; a folder has that name\n");
    EXPECT_TRUE(QDir(Path("p.png/inside")).exists());
    EXPECT_EQ(Files("."), QStringList("one.pdf"));
}

TEST_F(OutputTest, IsNoFolderThatIsThereAlready)
{
    MakeSample("one.pdf", 1);
    QDir(Path("")).mkdir("pages");
    const Outcome run = Run({"one.pdf", "-o", "pages", "-f", "png"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(run.complaints, "pdfconvert: pages is a folder; put the results into it with -d\n");
    EXPECT_EQ(Files("."), QStringList("one.pdf"));
}

TEST_F(OutputTest, IsNoDeviceAndNoPipe)
{
    MakeSample("one.pdf", 1);
    ASSERT_EQ(::mkfifo(Path("pipe.png").toUtf8().constData(), 0600), 0);
    for (const QString target : {"/dev/null", "pipe.png"}) {
        const Outcome run = Run({"one.pdf", "-o", target, "-f", "png"});
        EXPECT_EQ(run.exitCode, 5);
        EXPECT_THAT(run.complaints, HasSubstr(target.toStdString() + " is a device or a pipe"));
    }
    EXPECT_EQ(Files("."), QStringList("one.pdf"));
}

TEST_F(OutputTest, IsOnlyNamedByADryRun)
{
    MakeSample("two.pdf", 2);
    Write("p-1.png", "mine");
    const Outcome run = Run({"two.pdf", "-o", "p.png", "--dry-run"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.results, QStringList({"p-1(2).png", "p-2.png"}));
    EXPECT_EQ(Files("."), QStringList({"p-1.png", "two.pdf"}));
    EXPECT_EQ(Run({"two.pdf", "-d", "new/folder", "--dry-run"}).exitCode, 0);
    EXPECT_FALSE(QFile::exists(Path("new")));
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

TEST_F(OutputTest, InAFolderThatIsReadOnlyIsAnErrorThatNamesIt)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "root may write everywhere";
    MakeSample("one.pdf", 1);
    QDir(Path("")).mkdir("locked");
    QFile::setPermissions(Path("locked"), QFile::ReadOwner | QFile::ExeOwner);
    const Outcome run = Run({"one.pdf", "-o", "locked/p.png"});
    EXPECT_EQ(run.exitCode, 5);
    EXPECT_THAT(run.complaints, HasSubstr("one.pdf: cannot write into the folder locked"));
}

TEST_F(OutputTest, OfLongNamesIsRefusedOrMade)
{
    MakeSample("one.pdf", 1);
    const QString longest(251, 'x');
    ASSERT_TRUE(QFile::rename(Path("one.pdf"), Path(longest + ".pdf")));
    EXPECT_EQ(Run({longest + ".pdf", "-d", "out", "-f", "txt"}).exitCode, 0);
    const Outcome run = Run({longest + ".pdf", "-d", "out", "-r", "20"});
    EXPECT_EQ(run.exitCode, 5) << "with its number it is too long for the file system";
    EXPECT_THAT(run.complaints, HasSubstr("-1.png has a name of 257 bytes, of which 255"));
    EXPECT_EQ(Run({longest + ".pdf", "-d", "out", "--dry-run"}).exitCode, 5);
    EXPECT_EQ(Files("out"), QStringList(longest + ".txt"));
}

/** Two runs that want the same names, of which one meets what the other made after its planning. */
class TwoRunsTest : public OutputTest, public testing::WithParamInterface<const char*>
{
protected:
    /** Names that are no regular expressions, and one that needs minutes. */
    const QStringList bases{"a(b", "other", "[x", "*x", "x\\", "a{99999}"};

    QStringList Arguments() const
    {
        QStringList arguments{"-d",   "out", "-f", "txt",         "--progress",
                              "json", "-j",  "1",  "--on-exists", GetParam()};
        for (const QString& base : bases)
            arguments << base + ".pdf";
        return arguments;
    }

    /** Both runs, the slower one's outcome first. */
    std::pair<Outcome, Outcome> RunTwo() const
    {
        const auto slow = Start(Arguments());
        slow->setReadChannel(QProcess::StandardError);
        EXPECT_TRUE(slow->waitForReadyRead()) << "all is planned when the first one begins";
        ::kill(pid_t(slow->processId()), SIGSTOP);
        const Outcome quick = Run(Arguments());
        ::kill(pid_t(slow->processId()), SIGCONT);
        return {Finish(*slow), quick};
    }

    bool IsPolicy(const char* policy) const { return QString(GetParam()) == policy; }

    /** What such a run ends with that has told so many results. */
    int CodeFor(int told) const
    {
        if (!IsPolicy("fail") || told == bases.size())
            return 0;
        return told == 0 ? 6 : 10;
    }

    /** Every name, with a number as well where that is how two files get along. */
    QStringList Names() const
    {
        QStringList names;
        for (const QString& base : bases) {
            names << "out/" + base + ".txt";
            if (IsPolicy("number"))
                names << "out/" + base + "(2).txt";
        }
        names.sort();
        return names;
    }
};

INSTANTIATE_TEST_SUITE_P(, TwoRunsTest, testing::Values("number", "fail", "skip", "overwrite"),
                         [](const auto& policy) { return std::string(policy.param); });

TEST_P(TwoRunsTest, MakeAndTellTheirResultsWhateverTheirNamesAre)
{
    for (const QString& base : bases)
        MakeSample(base + ".pdf", 1);
    const auto [slow, quick] = RunTwo();
    EXPECT_EQ(slow.exitCode, CodeFor(int(slow.results.size()))) << slow.complaints;
    EXPECT_EQ(quick.exitCode, CodeFor(int(quick.results.size()))) << quick.complaints;
    QStringList told = slow.results + quick.results;
    const auto twice = told.removeDuplicates();
    EXPECT_EQ(twice, IsPolicy("overwrite") ? bases.size() : 0);
    told.sort();
    EXPECT_EQ(told, Names());
    QStringList made;
    for (const QString& name : Files("out")) {
        made << "out/" + name;
        EXPECT_FALSE(Read("out/" + name).isEmpty()) << name.toStdString();
    }
    made.sort();
    EXPECT_EQ(made, Names());
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

} // namespace
} // namespace Korvel::App
