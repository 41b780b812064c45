#include "FilesBelow.h"
#include "Program.h"

#include <cstdio>

#include <gmock/gmock.h>

#include <QDir>

#include <sys/stat.h>
#include <unistd.h>

namespace Korvel::App {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class TreeTest : public ProgramTest
{
protected:
    QString MakeIn(const QString& folder, const QString& name, int pages = 1) const
    {
        QDir(Path("")).mkpath(folder);
        return MakeSample(folder + '/' + name, pages);
    }

    Outcome RunSmall(const QStringList& arguments, const QByteArray& input = {}) const
    {
        return Run(arguments + QStringList{"-r", "10"}, input);
    }

    /** The paths of all files in a folder, as seen from it. */
    QStringList Below(const QString& name) const
    {
        QStringList files;
        for (const QString& file : PDF::Test::FilesBelow(Path(name)))
            files.append(QDir(Path(name)).relativeFilePath(file));
        files.sort();
        return files;
    }
};

TEST_F(TreeTest, StandsForTheDocumentsInItOrderedByName)
{
    for (const char* const name : {"b.pdf", "a.PDF"})
        MakeIn("tree", name);
    MakeIn("tree/a/deep", "c.pdf", 2);
    Write("tree/notes.txt", "no PDF");
    const Outcome run = RunSmall({"tree", "--recursive", "-d", "out"});
    EXPECT_EQ(run.exitCode, 0) << run.complaints;
    EXPECT_EQ(run.results, QStringList({"out/a/deep/c-1.png", "out/a/deep/c-2.png", "out/a-1.png",
                                        "out/b-1.png"}));
    EXPECT_EQ(Below("out"),
              QStringList({"a-1.png", "a/deep/c-1.png", "a/deep/c-2.png", "b-1.png"}));
}

TEST_F(TreeTest, GivesResultsItsFoldersWhereTheTemplateSaysSo)
{
    MakeIn("one", "a.pdf");
    MakeIn("one/x", "a.pdf");
    MakeIn("two/x", "a.pdf");
    EXPECT_EQ(Run({"one", "two/", "--recursive", "-o", "%p/texts/%s.txt"}).results,
              QStringList({"texts/a.txt", "x/texts/a.txt", "x/texts/a(2).txt"}));
    EXPECT_EQ(Run({"one", "--recursive", "-d", "flat", "-o", "%s.txt"}).results,
              QStringList({"flat/a.txt", "flat/a(2).txt"}))
        << "only where it says so";
}

TEST_F(TreeTest, IsReadFromAListAsWell)
{
    MakeIn("tree/x", "a.pdf");
    MakeSample("b.pdf", 1);
    EXPECT_EQ(
        Run({"--from-list", "-", "--recursive", "-d", "out", "-f", "txt"}, "b.pdf\ntree\n").results,
        QStringList({"out/b.txt", "out/x/a.txt"}));
}

TEST_F(TreeTest, LeavesAwayWhatIsHiddenAndLinksToFoldersAndSaysSo)
{
    MakeIn("tree", "a.pdf");
    MakeIn("tree", ".b.pdf");
    MakeIn("tree/.cache", "c.pdf");
    QFile::link("..", Path("tree/loop"));
    QFile::link("a.pdf", Path("tree/same.pdf"));
    ASSERT_EQ(::mkfifo(Path("tree/pipe.pdf").toUtf8().constData(), 0600), 0);
    const Outcome run = Run({"tree", "--recursive", "-d", "out", "-f", "txt"});
    EXPECT_EQ(run.exitCode, 0) << run.complaints;
    EXPECT_EQ(run.results, QStringList({"out/a.txt", "out/same.txt"}));
    EXPECT_THAT(run.complaints,
                HasSubstr("tree: left away: 2 hidden files and folders and 1 link to a folder\n"));
    QFile::link("tree", Path("named"));
    EXPECT_EQ(Run({"named", "--recursive", "-d", "again", "-f", "txt"}).results.size(), 2)
        << "a link that is named is followed";
}

TEST_F(TreeTest, WithoutDocumentsIsToldAndNoFailure)
{
    QDir(Path("")).mkdir("tree");
    const Outcome run = Run({"tree", "--recursive", "-d", "out"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.complaints, "pdfconvert: tree: there is no PDF in it\n");
    EXPECT_EQ(run.results, QStringList());
}

TEST_F(TreeTest, ThatCannotBeReadInPartIsConvertedInPart)
{
    MakeIn("tree", "a.pdf");
    QProcess shell;
    shell.setWorkingDirectory(Path("tree"));
    shell.start("bash", {"-c", "n=$(printf 'd%.0s' {1..200})\n"
                               "for i in {1..24}; do mkdir $n; cd $n || exit; done"});
    ASSERT_EQ(Finish(shell).exitCode, 0);
    const Outcome run = Run({"tree", "--recursive", "-d", "out", "-f", "txt", "--json"});
    shell.start("rm", {"-r", Path("tree")});
    ASSERT_EQ(Finish(shell).exitCode, 0);
    EXPECT_EQ(run.exitCode, 10) << run.complaints;
    EXPECT_TRUE(QFile::exists(Path("out/a.txt")));
    EXPECT_THAT(run.complaints, HasSubstr("the folder cannot be read: File name too long"));
    EXPECT_THAT(run.results.join('\n').toStdString(), HasSubstr("\"reason\": \"unreadable\""));
}

TEST_F(TreeTest, WithoutTheOptionSaysWhatToDo)
{
    MakeIn("tree", "a.pdf");
    const Outcome run = Run({"tree", "-d", "out"});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_EQ(run.complaints,
              "pdfconvert: tree: is a folder; --recursive converts the PDFs in it\n");
}

TEST_F(TreeTest, NamesDocumentsWhoseNamesCannotBeTold)
{
    MakeIn("tree", "a.pdf");
    const QByteArray strange = Path("tree/").toUtf8() + "\xff.pdf";
    QFile::copy(Path("tree/a.pdf"), Path("copy.pdf"));
    ASSERT_EQ(::rename(Path("copy.pdf").toUtf8().constData(), strange.constData()), 0);
    const Outcome run = Run({"tree", "--recursive", "-d", "out", "-f", "txt"});
    ASSERT_EQ(::unlink(strange.constData()), 0);
    EXPECT_EQ(run.exitCode, 10);
    EXPECT_EQ(run.results, QStringList("out/a.txt"));
    EXPECT_THAT(run.complaints, HasSubstr("tree/\\xff.pdf: the name is not valid UTF-8"));
}

TEST_F(TreeTest, GoesOnByAJournalAndTakesWhatIsNew)
{
    MakeIn("tree", "a.pdf");
    const QStringList command{"tree", "--recursive", "-d", "out", "-f", "txt", "--journal", "j"};
    EXPECT_EQ(Run(command).results, QStringList("out/a.txt"));
    MakeIn("tree/x", "b.pdf");
    EXPECT_EQ(Run(command).results, QStringList("out/x/b.txt"));
    EXPECT_EQ(Below("out"), QStringList({"a.txt", "x/b.txt"}));
}

TEST_F(TreeTest, MayBeInspected)
{
    MakeIn("tree/x", "a.pdf");
    EXPECT_THAT(Run({"tree", "--recursive", "--inspect"}).results.value(0).toStdString(),
                StartsWith("tree/x/a.pdf"));
}

using BesideTest = TreeTest;

TEST_F(BesideTest, ResultsLieInTheFoldersOfTheirInputs)
{
    MakeIn("tree", "a.pdf", 2);
    MakeIn("tree/50%d", "b.pdf");
    MakeSample("c.pdf", 1);
    EXPECT_EQ(RunSmall({"tree", "c.pdf", "--recursive", "--beside"}).results,
              QStringList({"tree/50%d/b-1.png", "tree/a-1.png", "tree/a-2.png", "c-1.png"}));
    EXPECT_EQ(Run({"tree/a.pdf", Path("c.pdf"), "--beside", "-o", "texts/%s.txt"}).results,
              QStringList({"tree/texts/a.txt", Path("texts/c.txt")}));
}

TEST_F(BesideTest, ResultsOfPipesAreRefused)
{
    MakeSample("one.pdf", 1);
    QProcess bash;
    bash.setWorkingDirectory(Path(""));
    bash.start("bash", {"-c", "\"$1\" <(cat one.pdf) --beside -f txt --temp-dir \"$2\"", "bash",
                        PDFCONVERT, TempDir()});
    const Outcome run = Finish(bash);
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_THAT(run.complaints, HasSubstr("comes through a pipe and lies in no folder"));
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

struct Wrong
{
    QStringList arguments;
    const char* message;
};

TEST_F(TreeTest, RefusesPlacesThatInputsDoNotHave)
{
    for (const Wrong& wrong :
         {Wrong{{"a.pdf", "-o", "%p/a.txt"}, "%p goes with --recursive only"},
          Wrong{{"a", "--recursive", "--beside", "-o", "%p/a.txt"}, "%p does not go with --beside"},
          Wrong{{"a.pdf", "--beside", "-d", "out"}, "--directory"},
          Wrong{{"a.pdf", "--beside", "-o", "/out/a.txt"},
                "-o /out/a.txt does not go with --beside"},
          Wrong{{"-", "--beside"}, "--beside does not go with standard input"},
          Wrong{{"a.pdf", "--beside", "--inspect"}, "--beside does not go with --inspect"}}) {
        const Outcome run = Run(wrong.arguments);
        EXPECT_EQ(run.exitCode, 2) << wrong.message;
        EXPECT_THAT(run.complaints, HasSubstr(wrong.message));
    }
}

} // namespace
} // namespace Korvel::App
