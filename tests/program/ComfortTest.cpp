#include "Program.h"

#include <gmock/gmock.h>

#include <QDir>
#include <QDirIterator>
#include <QImage>
#include <QRegularExpression>
#include <QStandardPaths>

#include <sys/file.h>

namespace Korvel::App {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

class ComfortTest : public ProgramTest
{
protected:
    /** What bash would offer behind `words`, the last of which is being typed. */
    std::vector<std::string> Completions(const QStringList& words) const
    {
        QProcess bash;
        bash.setWorkingDirectory(Path(""));
        bash.start("bash", QStringList{"-c",
                                       "source <(\"$1\" --completion bash); shift\n"
                                       "COMP_WORDS=(\"$@\") COMP_CWORD=$(($# - 1))\n"
                                       "_pdfconvert; printf '%s\\n' \"${COMPREPLY[@]}\"",
                                       "bash", PDFCONVERT, "pdfconvert"} +
                               words);
        const Outcome run = Finish(bash);
        EXPECT_EQ(run.complaints, "");
        std::vector<std::string> offered;
        for (const QString& line : run.results)
            offered.push_back(line.toStdString());
        return offered;
    }
};

TEST_F(ComfortTest, CompletesOptionsTheirWordsAndFilesInBash)
{
    Write("report.pdf", "");
    Write("notes.txt", "");
    EXPECT_THAT(Completions({"--pass"}), Contains("--password-file"));
    EXPECT_THAT(Completions({"--pass"}), Not(Contains("--output")));
    EXPECT_THAT(Completions({"--on-exists", ""}),
                testing::ElementsAre("number", "fail", "skip", "overwrite"));
    EXPECT_THAT(Completions({"-f", "t"}), testing::ElementsAre("tif", "tiff", "txt", "tsv"));
    EXPECT_THAT(Completions({"--format", "=", "t"}),
                testing::ElementsAre("tif", "tiff", "txt", "tsv"));
    EXPECT_THAT(Completions({"--progress", "="}), Contains("plain")) << "of all words";
    EXPECT_THAT(Completions({"--password-file", "n"}), testing::ElementsAre("notes.txt"));
    EXPECT_THAT(Completions({"--password-file", "=", "n"}), testing::ElementsAre("notes.txt"));
    for (const char* const option : {"-r", "--pages", "-j", "--size", "--timeout", "--shard"})
        EXPECT_THAT(Completions({option, ""}), testing::Each("")) << "no file is a value of it";
    EXPECT_THAT(Completions({"x.pdf", "r"}), testing::ElementsAre("report.pdf"));
    EXPECT_THAT(Completions({"n"}), Not(Contains("notes.txt"))) << "no PDF";
}

TEST_F(ComfortTest, CompletesReportsAndTheirJournalsInBash)
{
    Write("report.pdf", "");
    Write("all.journal", "");
    EXPECT_THAT(Completions({"rep"}), testing::ElementsAre("report.pdf", "report"));
    EXPECT_THAT(Completions({"report", "--f"}), testing::ElementsAre("--follow"));
    EXPECT_THAT(Completions({"report", "a"}), testing::ElementsAre("all.journal"));
    EXPECT_THAT(Completions({"report", "all.journal", "--"}), Not(Contains("--output")));
}

TEST_F(ComfortTest, CompletesOptionsTheirWordsAndFilesInFish)
{
    if (QStandardPaths::findExecutable("fish").isEmpty())
        GTEST_SKIP() << "fish is not among the packages that the tests need";
    Write("notes.txt", "");
    const auto offered = [this](const QString& line) {
        QProcess fish;
        fish.setWorkingDirectory(Path(""));
        fish.start("fish", {"--no-config", "-c",
                            "$argv[1] --completion fish | source; complete -C \"$argv[2]\"",
                            PDFCONVERT, "pdfconvert " + line});
        return Finish(fish).results.join('\n').toStdString();
    };
    EXPECT_THAT(offered("--format=t"),
                MatchesRegex("--format=tif\t.*\n--format=tiff\t.*\n--format=txt\t.*"));
    EXPECT_THAT(offered("--on-exists f"), MatchesRegex("fail\tWhen a result's name is taken:.*"));
    EXPECT_EQ(offered("--pages "), "");
    EXPECT_THAT(offered("--password-file n"), HasSubstr("notes.txt"));
    EXPECT_THAT(offered("--password-fi"),
                HasSubstr("Read the password from the first line of FILE"));
}

struct Shell
{
    const char* name;
    QStringList check;
};

TEST_F(ComfortTest, PrintsScriptsThatTheShellsAccept)
{
    for (const Shell& shell :
         {Shell{"bash", {"-n"}}, Shell{"zsh", {"-n"}}, Shell{"fish", {"--no-execute"}}}) {
        QProcess print;
        print.setStandardOutputFile(Path("script"));
        print.start(PDFCONVERT, {"--completion", shell.name});
        EXPECT_EQ(Finish(print).exitCode, 0);
        EXPECT_THAT(Read("script").toStdString(), HasSubstr("password-file")) << shell.name;
        if (QStandardPaths::findExecutable(shell.name).isEmpty())
            continue; // not among the packages that the tests need
        QProcess check;
        check.start(shell.name, shell.check + QStringList{Path("script")});
        const Outcome run = Finish(check);
        EXPECT_EQ(run.exitCode, 0) << shell.name;
        EXPECT_EQ(run.complaints, "") << shell.name;
    }
}

TEST_F(ComfortTest, PrintsAHelpThatNamesEveryOptionOnceAndFitsATerminal)
{
    const Outcome run = Run({"--help"});
    EXPECT_EQ(run.exitCode, 0);
    for (const QString& line : run.results)
        EXPECT_LE(line.size(), 80) << line.toStdString();
    QProcess reportHelp;
    reportHelp.start(PDFCONVERT, {"report", "--help"});
    for (const QString& line : Finish(reportHelp).results)
        EXPECT_LE(line.size(), 80) << line.toStdString();
    const QString help = run.results.join('\n');
    EXPECT_FALSE(help.contains("Excludes"));
    EXPECT_FALSE(help.contains("--manual")) << "it is for the build";
    EXPECT_EQ(help.count("\n  --password-map "), 1);
}

TEST_F(ComfortTest, PrintsItsVersionAndWhatProtectsThisMachine)
{
    const Outcome run = Run({"--version"});
    EXPECT_EQ(run.exitCode, 0);
    ASSERT_EQ(run.results.size(), 12);
    EXPECT_THAT(run.results[0].toStdString(), MatchesRegex("pdfconvert [0-9]+\\.[0-9]+\\.[0-9]+"));
    EXPECT_EQ(run.results[1], QString(run.results[0]).replace(' ', "-worker "));
    EXPECT_THAT(run.results, Contains("no new privileges: yes"));
    EXPECT_THAT(run.results[2].toStdString(), MatchesRegex("engine: (PDFium|Qt PDF) \\(/.+\\)"));
    for (const QString& line : run.results.mid(3))
        EXPECT_THAT(line.toStdString(), MatchesRegex("[a-zA-Z ()]+: (yes|no|not as root)"));
}

TEST_F(ComfortTest, CleansNoFolderThatIsNone)
{
    Write("file", "");
    for (const char* const folder : {"nowhere", "file"}) {
        QProcess process;
        process.setWorkingDirectory(Path(""));
        process.start(PDFCONVERT, {"--clean-temp", "--temp-dir", folder});
        const Outcome run = Finish(process);
        EXPECT_EQ(run.exitCode, 5);
        EXPECT_THAT(run.complaints, HasSubstr("pdfconvert: cannot look for temporary files in " +
                                              std::string(folder) + ": "));
    }
    EXPECT_EQ(Run({"--clean-temp"}).exitCode, 0);
    const Outcome run = Run({"--clean-temp", "file"});
    EXPECT_EQ(run.exitCode, 5);
    EXPECT_THAT(run.complaints, HasSubstr("cannot look for temporary files in file: "));
}

TEST_F(ComfortTest, CleansFoldersOfResultsOfTheHiddenFilesThatNobodyHolds)
{
    ASSERT_TRUE(QDir(Path("")).mkdir("out"));
    const QString abandoned = Write("out/.pdfconvert-abcdef-ghijkl", "a page");
    const QString held = Write("out/.pdfconvert-abcdef-mnopqr", "a page");
    for (const char* const other : {"out/.pdfconvert-abcdef", "out/.pdfconvert-abcdef-notes12",
                                    "out/pdfconvert-abcdef-ghijkl"})
        Write(other, "of the user");
    QFile holder(held);
    ASSERT_TRUE(holder.open(QIODevice::ReadWrite));
    ASSERT_EQ(::flock(holder.handle(), LOCK_EX), 0);
    const Outcome run = Run({"--clean-temp", Path("out")});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.results, QStringList(abandoned));
    EXPECT_FALSE(QFile::exists(abandoned));
    EXPECT_EQ(QDir(Path("out")).entryList(QDir::Files | QDir::Hidden).size(), 4);
}

TEST_F(ComfortTest, CleansTheFoldersThatItWritesTo)
{
    MakeSample("sample.pdf", 1);
    ASSERT_TRUE(QDir(Path("")).mkdir("out"));
    Write("out/.pdfconvert-abcdef-ghijkl", "a page");
    EXPECT_EQ(Run({"sample.pdf", "-d", "out", "-r", "20"}).exitCode, 0);
    EXPECT_EQ(QDir(Path("out")).entryList(QDir::Files | QDir::Hidden), QStringList("sample-1.png"));
}

TEST_F(ComfortTest, WarnsOfWhatDoesNotProtectThisMachineWhenItIsVerbose)
{
    MakeSample("sample.pdf", 1);
    const bool isWhole = Run({"--version"}).results.filter(QRegularExpression(": no$")).isEmpty();
    const QStringList arguments{"sample.pdf", "-d", "out"};
    if (isWhole) {
        EXPECT_THAT(Run(arguments).complaints, Not(HasSubstr("not in force")));
    }
    const std::string log = Run(arguments + QStringList{"-v", "1"}).complaints;
    EXPECT_EQ(log.find("not in force") == std::string::npos, isWhole) << log;
}

TEST_F(ComfortTest, PrintsAManualPageOfTheSameOptions)
{
    const Outcome run = Run({"--manual"});
    const std::string page = run.results.join('\n').toStdString();
    EXPECT_THAT(page, testing::StartsWith(".TH PDFCONVERT 1"));
    EXPECT_THAT(page, HasSubstr("\\fB\\-r\\fR, \\fB\\-\\-resolution\\fR \\fIDPI\\fR"));
    EXPECT_THAT(page, HasSubstr("\\fB\\-\\-password\\-file\\fR \\fIFILE\\fR"));
    EXPECT_THAT(page, HasSubstr(".SH REPORTS"));
    EXPECT_THAT(page, HasSubstr("\\fB\\-\\-follow\\fR"));
    EXPECT_THAT(page, HasSubstr("a journal is missing, unreadable or damaged"));
    EXPECT_THAT(page, HasSubstr(".SH \"EXAMPLES AND EXIT CODES\""));
}

/** The only thing in the folder `path`. */
QString OnlyEntryOf(const QString& path)
{
    const QStringList names = QDir(path).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    EXPECT_EQ(names.size(), 1) << names.join(' ').toStdString();
    return path + '/' + names.join(' ');
}

TEST_F(ComfortTest, KeepsTheUnencryptedCopyWhereItSaysAndWarns)
{
    MakeSample("secret.pdf", 1, "pw");
    Write("pw", "pw");
    const QStringList conversion{"secret.pdf", "--password-file", "pw", "-o", "p.png", "-r", "20"};
    const Outcome run = Run(conversion + QStringList{"--keep-temp"});
    EXPECT_EQ(run.exitCode, 0) << run.complaints;
    const QString kept = OnlyEntryOf(TempDir());
    EXPECT_THAT(run.complaints, HasSubstr("temporary files stay in " + kept.toStdString()));

    EXPECT_EQ(Run(conversion).exitCode, 0) << "which sweeps";
    const QStringList copies = QDir(kept).entryList({"*.kept"}, QDir::Files);
    ASSERT_EQ(copies.size(), 1);
    EXPECT_EQ(QFile::permissions(kept + '/' + copies[0]) & 0x77, QFile::Permissions())
        << "for its owner alone";
    EXPECT_EQ(Run({kept + '/' + copies[0], "-o", "copy.png", "--no-input"}).exitCode, 0);
}

TEST_F(ComfortTest, KeepsTheUnencryptedCopyOfEachDocumentThatIsMerged)
{
    MakeSample("one.pdf", 1, "pw");
    MakeSample("plain.pdf", 1);
    MakeSample("two.pdf", 1, "pw");
    const Outcome run = Run({"one.pdf", "plain.pdf", "two.pdf", "--merge", "-o", "all.pdf",
                             "--password-file", "-", "--keep-temp"},
                            "pw");
    EXPECT_EQ(run.exitCode, 0) << run.complaints;
    EXPECT_EQ(QDir(OnlyEntryOf(TempDir())).entryList({"*.kept"}, QDir::Files).size(), 2);
}

TEST_F(ComfortTest, KeepsStandardInputInAFolderWhosePathNobodyKnows)
{
    MakeSample("one.pdf", 1);
    const QByteArray pdf = Read("one.pdf");
    EXPECT_EQ(Run({"-", "-o", "p.png", "-r", "20", "--keep-temp"}, pdf).exitCode, 0);
    const QString session = OnlyEntryOf(TempDir());
    EXPECT_EQ(QDir(session).entryList(QDir::Files), QStringList());
    QDirIterator stored(session, {"standard-input.pdf"}, QDir::Files, QDirIterator::Subdirectories);
    QFile file(stored.next());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), pdf);
}

TEST_F(ComfortTest, KeepsAResultThatCouldNotBeMoved)
{
    MakeSample("one.pdf", 1);
    ASSERT_TRUE(QDir().mkpath(Path("p.png")));
    const Outcome run =
        Run({"one.pdf", "-o", "p.png", "--on-exists", "overwrite", "-r", "20", "--keep-temp"});
    EXPECT_EQ(run.exitCode, 5) << run.complaints;
    const QString result = OnlyEntryOf(OnlyEntryOf(OnlyEntryOf(TempDir())));
    EXPECT_FALSE(QImage(result).isNull()) << result.toStdString();
}

} // namespace
} // namespace Korvel::App
