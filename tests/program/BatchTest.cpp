#include "Program.h"

#include <cstdio>
#include <functional>

#include <gmock/gmock.h>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <sys/stat.h>

namespace Korvel::App {
namespace {

using testing::HasSubstr;
using testing::Not;

class BatchTest : public ProgramTest
{
protected:
    /** Runs the command as "$@" of a script. */
    Outcome RunInShell(const QString& script, const QStringList& arguments) const
    {
        QProcess process;
        process.setWorkingDirectory(Path(""));
        process.start("bash",
                      QStringList{"-c", script, "bash", PDFCONVERT, "--temp-dir", TempDir()} +
                          arguments);
        return Finish(process);
    }
};

TEST_F(BatchTest, ReportsABadInputAndConvertsTheRest)
{
    MakeSample("one.pdf", 1);
    Write("bad.pdf", "no PDF");
    MakeSample("two.pdf", 2);
    const Outcome run =
        Run({"one.pdf", "none.pdf", "bad.pdf", "two.pdf", "-d", "out", "-f", "txt"});
    EXPECT_EQ(run.exitCode, 10);
    EXPECT_EQ(run.results, QStringList({"out/one.txt", "out/two.txt"}));
    EXPECT_THAT(run.complaints, HasSubstr("none.pdf: No such file"));
    EXPECT_THAT(run.complaints, HasSubstr("bad.pdf: is not a PDF"));
    EXPECT_THAT(run.complaints, HasSubstr("2 of 4 documents converted, 2 failed"));
}

TEST_F(BatchTest, EndsWithTheCodeThatAllItsFailuresShare)
{
    Write("bad.pdf", "no PDF");
    EXPECT_EQ(Run({"none.pdf", "bad.pdf", "-d", "out"}).exitCode, 4);
    MakeSample("secret.pdf", 1, "pw");
    EXPECT_EQ(Run({"secret.pdf", "bad.pdf", "-d", "out"}).exitCode, 10);
}

TEST_F(BatchTest, TellsOfDocumentsInTheirOrderHoweverManyAreOpenedAtOnce)
{
    MakeSample("one.pdf", 1);
    MakeSample("secret.pdf", 2, "pw");
    MakeSample("other.pdf", 1, "other");
    Write("bad.pdf", "no PDF");
    Write("map", "other.pdf\tother\nsecret.pdf\tpw\n");
    const QStringList inputs{"one.pdf",  "bad.pdf",   "secret.pdf", "one.pdf",
                             "none.pdf", "other.pdf", "bad.pdf",    "secret.pdf"};
    const QStringList arguments =
        inputs + QStringList{"--password-map", "map", "-d", "out", "-f", "txt", "--dry-run"};
    const Outcome oneByOne = Run(arguments + QStringList{"-j", "1"});
    EXPECT_EQ(oneByOne.results, QStringList({"out/one.txt", "out/secret.txt", "out/one(2).txt",
                                             "out/other.txt", "out/secret(2).txt"}));
    for (const char* jobs : {"2", "3", "8", "20"}) {
        const Outcome sideBySide = Run(arguments + QStringList{"-j", jobs});
        EXPECT_EQ(sideBySide.results, oneByOne.results) << jobs;
        EXPECT_EQ(sideBySide.complaints, oneByOne.complaints) << jobs;
        EXPECT_EQ(sideBySide.exitCode, 10);
    }
}

TEST_F(BatchTest, MakesTheSameOfDocumentsHoweverManyAreConvertedAtOnce)
{
    MakeSample("one.pdf", 1);
    MakeSample("five.pdf", 5);
    Write("bad.pdf", "no PDF");
    const QStringList inputs{"one.pdf",  "bad.pdf", "five.pdf", "one.pdf", "none.pdf",
                             "five.pdf", "one.pdf", "bad.pdf",  "one.pdf", "five.pdf"};
    const auto run = [&](const char* jobs) {
        return Run(inputs + QStringList{"-d", QStringLiteral("out-%1").arg(jobs), "-r", "30",
                                        "--no-input", "-j", jobs});
    };
    const Outcome oneByOne = run("1");
    EXPECT_EQ(oneByOne.exitCode, 10);
    EXPECT_EQ(oneByOne.results.size(), 19);
    EXPECT_EQ(oneByOne.results.back(), "out-1/five-5(3).png");
    for (const char* jobs : {"2", "3", "8", "20"}) {
        const Outcome sideBySide = run(jobs);
        const QString folder = QStringLiteral("out-%1/").arg(jobs);
        EXPECT_EQ(QStringList(sideBySide.results).replaceInStrings(folder, "out-1/"),
                  oneByOne.results);
        EXPECT_EQ(WholePictures(folder).size(), 19);
        EXPECT_EQ(sideBySide.exitCode, 10);
    }
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

TEST_F(BatchTest, ConvertsDocumentsWhileOthersAreStillToBeOpened)
{
    const QStringList inputs{"1.pdf", "2.pdf", "3.pdf", "4.pdf", "bad.pdf"};
    for (const QString& input : inputs)
        MakeSample(input, 1);
    Write("bad.pdf", "no PDF");
    const auto complaintsOf = [&](const QStringList& further) {
        const Outcome run =
            Run(inputs + QStringList{"-d", "out", "-j", "1", "--no-input", "--progress", "json"} +
                further);
        EXPECT_EQ(run.results.size(), 4);
        return QString::fromStdString(run.complaints);
    };
    const auto isFailedFirst = [](const QString& complaints) {
        return complaints.indexOf("\"failed\"") < complaints.indexOf("\"finished\"");
    };
    EXPECT_FALSE(isFailedFirst(complaintsOf({"-f", "txt"})));
    EXPECT_TRUE(isFailedFirst(complaintsOf({"-f", "pdf"}))) << "its results may be inputs";
    EXPECT_FALSE(isFailedFirst(complaintsOf({"-f", "txt", "--journal", "journal"})));
    Write("password", "pw");
    EXPECT_TRUE(isFailedFirst(complaintsOf({"-f", "txt", "--password-file", "password"})))
        << "passwords are held until all documents are open";
}

TEST_F(BatchTest, NamesWhatCouldNotBeOpenedFirstInItsClosingDocument)
{
    MakeSample("one.pdf", 1);
    const Outcome run = Run({"one.pdf", "none.pdf", "one.pdf", "worse.pdf", "-d", "out", "-f",
                             "txt", "-j", "1", "--json", "--no-input"});
    const QJsonArray documents =
        QJsonDocument::fromJson(run.results.join('\n').toUtf8()).object()["documents"].toArray();
    QStringList names;
    for (const QJsonValue document : documents)
        names.append(document.toObject()["file"].toString());
    EXPECT_EQ(names, QStringList({"none.pdf", "worse.pdf", "one.pdf", "one.pdf"}));
}

TEST_F(BatchTest, StopsAtTheFirstFailureWhenThatIsWanted)
{
    MakeSample("one.pdf", 1);
    const Outcome run = Run({"one.pdf", "none.pdf", "worse.pdf", "-d", "out", "--fail-fast"});
    EXPECT_EQ(run.exitCode, 10);
    EXPECT_EQ(run.results, QStringList()) << "it is known before anything is converted";
    EXPECT_THAT(run.complaints, Not(HasSubstr("worse.pdf")));
}

TEST_F(BatchTest, GivesTwoInputsOfOneNameTwoResults)
{
    QDir(Path("")).mkdir("a");
    QDir(Path("")).mkdir("b");
    MakeSample("a/report.pdf", 1);
    MakeSample("b/report.pdf", 1);
    const QStringList inputs{"a/report.pdf", "b/report.pdf", "-d", "out", "-f", "txt"};
    EXPECT_EQ(Run(inputs).results, QStringList({"out/report.txt", "out/report(2).txt"}));
    const Outcome overwriting = Run(inputs + QStringList{"--on-exists", "overwrite"});
    EXPECT_EQ(overwriting.exitCode, 10);
    EXPECT_EQ(overwriting.results, QStringList("out/report.txt"));
    EXPECT_THAT(overwriting.complaints, HasSubstr("b/report.pdf: its result out/report.txt would "
                                                  "meet that of a/report.pdf"));
}

TEST_F(BatchTest, ReadsItsInputsFromAList)
{
    MakeSample("one.pdf", 1);
    MakeSample("C++ (2) [x].pdf", 1);
    Write("list", "one.pdf\n\nC++ (2) [x].pdf\nnone.pdf\nb\xff.pdf\n");
    const Outcome run = Run({"--from-list", "list", "-d", "out", "-f", "txt"});
    EXPECT_EQ(run.exitCode, 10);
    EXPECT_EQ(run.results, QStringList({"out/one.txt", "out/C++ (2) [x].txt"}));
    EXPECT_THAT(run.complaints, HasSubstr("none.pdf: No such file"));
    EXPECT_THAT(run.complaints, HasSubstr("b\\xff.pdf: the name is not valid UTF-8"));
}

TEST_F(BatchTest, ReadsANulSeparatedListFromStandardInput)
{
    MakeSample("one.pdf", 1);
    MakeSample("with\nline.pdf", 1);
    const QByteArray list("one.pdf\0with\nline.pdf\0", 22);
    const Outcome run = Run({"--from-list", "-", "-0", "-d", "out", "-f", "txt"}, list);
    EXPECT_EQ(run.exitCode, 0) << run.complaints;
    EXPECT_TRUE(QFile::exists(Path("out/with\nline.txt")));
}

TEST_F(BatchTest, ConvertsItsShareOfAList)
{
    QByteArray list;
    QStringList all;
    for (int i = 0; i < 6; ++i) {
        const QString name = QString("report %1").arg(i);
        MakeSample(name + ".pdf", 1);
        list += name.toUtf8() + ".pdf\n";
        all.append("out/" + name + ".txt");
    }
    QStringList made;
    for (const char* share : {"1/3", "2/3", "3/3"}) {
        const Outcome run =
            Run({"--from-list", "-", "--shard", share, "-d", "out", "-f", "txt"}, list);
        EXPECT_EQ(run.exitCode, 0) << run.complaints;
        made += run.results;
    }
    made.sort();
    EXPECT_EQ(made, all);
}

TEST_F(BatchTest, HasNothingToDoForAnEmptyShare)
{
    Write("list", "one.pdf\n");
    int done = 0;
    for (const char* share : {"1/2", "2/2"}) {
        const Outcome run = Run({"--from-list", "list", "--shard", share, "-d", "out"});
        done += run.exitCode == 0;
        EXPECT_EQ(run.results, QStringList());
    }
    EXPECT_EQ(done, 1) << "in the other there is a document that is missing";
}

TEST_F(BatchTest, CallsAListThatIsMissingAnError)
{
    const Outcome missing = Run({"--from-list", "none", "-d", "out"});
    EXPECT_EQ(missing.exitCode, 4);
    EXPECT_THAT(missing.complaints, HasSubstr("none: cannot read the list: No such file"));
}

TEST_F(BatchTest, ConvertsWhatStandardInputGives)
{
    MakeSample("secret.pdf", 2, "pw");
    Write("pw", "pw");
    const Outcome run =
        Run({"-", "-d", "out", "-r", "20", "--password-file", "pw"}, Read("secret.pdf"));
    EXPECT_EQ(run.exitCode, 0) << run.complaints;
    EXPECT_EQ(run.results, QStringList({"out/stdin-1.png", "out/stdin-2.png"}));
    EXPECT_EQ(LeftInTempDir(), QStringList());
    const Outcome empty = Run({"-", "-d", "out"});
    EXPECT_EQ(empty.exitCode, 4);
    EXPECT_THAT(empty.complaints, HasSubstr("standard input: is an empty file"));
}

TEST_F(BatchTest, SaysWhyStandardInputCannotBeRead)
{
    const Outcome run = RunInShell("exec \"$@\" < .", {"-", "-d", "out"});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_EQ(run.complaints, "pdfconvert: standard input: cannot be read: Is a directory\n");
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

TEST_F(BatchTest, ReadsPipesByTheirNames)
{
    MakeSample("one.pdf", 1);
    MakeSample("two.pdf", 2);
    ASSERT_EQ(::mkfifo(Path("fifo.pdf").toUtf8().constData(), 0600), 0);
    const Outcome run = RunInShell("cat two.pdf > fifo.pdf & exec \"$@\" <(cat one.pdf)",
                                   {"-d", "out", "-r", "20", "fifo.pdf"});
    EXPECT_EQ(run.exitCode, 0) << run.complaints;
    EXPECT_EQ(run.results.mid(0, 2), QStringList({"out/fifo-1.png", "out/fifo-2.png"}));
    EXPECT_EQ(WholePictures("out").size(), 3);
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

TEST_F(BatchTest, HasNothingToDoForAnEmptyList)
{
    Write("list", "\n");
    for (const QString list : {"list", "/dev/null", "-"}) {
        const Outcome run = Run({"--from-list", list, "-d", "out"}, "");
        EXPECT_EQ(run.exitCode, 0) << list.toStdString();
        EXPECT_EQ(run.complaints, "") << list.toStdString();
    }
    EXPECT_EQ(RunInShell("exec \"$@\" --from-list <(true)", {"-d", "out"}).exitCode, 0);
}

TEST_F(BatchTest, SaysWhyStandardInputCannotBeStored)
{
    const Outcome run =
        RunInShell("ulimit -f 100; exec \"$@\" < /dev/zero", {"-", "-d", "out", "--json"});
    EXPECT_EQ(run.exitCode, 5);
    EXPECT_THAT(run.complaints, HasSubstr("standard input: cannot be stored in the folder for "
                                          "temporary files: File too large"));
    EXPECT_THAT(run.results.join(' ').toStdString(), HasSubstr("\"no-temporary-space\""));
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

TEST_F(BatchTest, RefusesRelativeInputsInAFolderWhoseNameIsNotUtf8)
{
    MakeSample("one.pdf", 1);
    Write("list", "one.pdf\n" + Path("one.pdf").toUtf8() + "\n");
    const QString script = "mkdir d$'\\xff' && cd d$'\\xff' && cp ../one.pdf . && \"$@\"; code=$?; "
                           "rm -r ../d$'\\xff'; exit $code";
    const Outcome run = RunInShell(script, {"--from-list", "../list", "-o", Path("%s.txt")});
    EXPECT_EQ(run.exitCode, 10);
    EXPECT_EQ(run.results, QStringList(Path("one.txt")));
    EXPECT_THAT(run.complaints, HasSubstr("pdfconvert: one.pdf: the working folder's name is not "
                                          "valid UTF-8; rename it"));
}

TEST_F(BatchTest, EndsWithThreeWhenAResultWantsALook)
{
    MakeSample("whole.pdf", 1);
    Write("repaired.pdf", Read("whole.pdf").replace("startxref", "startxxxx"));
    const QStringList arguments{"repaired.pdf", "-d", "out", "-f", "txt"};
    const Outcome run = Run(arguments);
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_THAT(run.complaints, HasSubstr("repaired.pdf: is damaged and was repaired"));
    EXPECT_EQ(run.results.size(), 1);
    EXPECT_EQ(Run(arguments + QStringList{"--warning-exit-0"}).exitCode, 0);
    const Outcome quiet = Run(arguments + QStringList{"-q"});
    EXPECT_EQ(quiet.exitCode, 3);
    EXPECT_EQ(quiet.complaints, "");
}

TEST_F(BatchTest, ConvertsDocumentsSideBySideAndTellsOfThemInTheirOrder)
{
    MakeSample("long.pdf", 300);
    for (const char* name : {"1.pdf", "2.pdf", "3.pdf"})
        MakeSample(name, 1);
    const QStringList arguments{"long.pdf", "1.pdf", "2.pdf", "3.pdf",      "-o",
                                "o/%s.txt", "-j",    "2",     "--progress", "json"};
    const Outcome run = Run(arguments);
    EXPECT_EQ(run.results, QStringList({"o/long.txt", "o/1.txt", "o/2.txt", "o/3.txt"}));
    const auto position = [&run](const char* event, const char* file) {
        for (const QString& line : QString::fromStdString(run.complaints).split('\n')) {
            if (line.contains(event) && line.contains(file))
                return run.complaints.find(line.toStdString());
        }
        return std::string::npos;
    };
    EXPECT_LT(position("started", "\"1.pdf"), position("finished", "long.pdf"));
}

TEST_F(BatchTest, ConvertsTheSameFileTwiceAtOnce)
{
    MakeSample("twice.pdf", 3, "pw");
    Write("pw", "pw");
    const Outcome run =
        Run({"twice.pdf", "twice.pdf", "-d", "o", "-r", "20", "-j", "2", "--password-file", "pw"});
    EXPECT_EQ(run.exitCode, 0) << run.complaints;
    EXPECT_EQ(run.results.size(), 6);
    EXPECT_EQ(WholePictures("o").size(), 6);
}

TEST_F(BatchTest, UsesNoMoreWorkersThanItIsAllowed)
{
    MakeSample("many.pdf", 12);
    const auto process = Start({"many.pdf", "-d", "out", "-r", "100", "-j", "1"});
    int most = 0;
    while (!process->waitForFinished(1))
        most = std::max(most, int(Children(*process).size()));
    EXPECT_EQ(Finish(*process).exitCode, 0);
    EXPECT_GE(most, 1);
    EXPECT_LE(most, 2) << "one that opens documents, one that converts pages";
}

/** What another program makes of a document that was planned, while one before it is converted. */
class ChangedDocumentTest : public BatchTest
{
protected:
    ChangedDocumentTest()
    {
        MakeSample("first.pdf", 60);
        Write("pw", "pw");
    }

    Outcome ConvertAndMeanwhile(const std::function<void()>& change,
                                const QStringList& further = {})
    {
        QFile::remove(Path("second.pdf"));
        MakeSample("second.pdf", 2, "pw");
        const auto process = Start(QStringList{"first.pdf", "second.pdf", "-d", "out", "-r", "100",
                                               "-j", "1", "--password-file", "pw"} +
                                   further);
        process->closeWriteChannel();
        while (QDir(Path("out")).isEmpty() && !process->waitForFinished(1)) {
        }
        EXPECT_FALSE(QFile::exists(Path("out/second-1.png")));
        change();
        return Finish(*process);
    }

    void Replace(const char* by) const
    {
        EXPECT_EQ(::rename(Path(by).toUtf8().constData(), Path("second.pdf").toUtf8().constData()),
                  0);
    }
};

TEST_F(ChangedDocumentTest, IsPlannedAnew)
{
    for (const QStringList& further : {QStringList(), QStringList{"--journal", "journal"}}) {
        MakeSample("other.pdf", 11, "pw");
        const Outcome run = ConvertAndMeanwhile([this] { Replace("other.pdf"); }, further);
        EXPECT_EQ(run.exitCode, 0) << run.complaints;
        EXPECT_EQ(run.results.size(), 60 + 11);
        EXPECT_EQ(run.results.value(70), "out/second-11.png");
        EXPECT_EQ(WholePictures("out").size(), 60 + 11);
        EXPECT_EQ(LeftInTempDir(), QStringList());
        QDir(Path("out")).removeRecursively();
    }
}

TEST_F(ChangedDocumentTest, KeepsTheNamesOfPagesThatItHasStill)
{
    MakeSample("other.pdf", 2);
    const Outcome run = ConvertAndMeanwhile([this] { Replace("other.pdf"); });
    EXPECT_EQ(run.exitCode, 0) << run.complaints;
    EXPECT_EQ(run.results.mid(60), QStringList({"out/second-1.png", "out/second-2.png"}));
}

TEST_F(ChangedDocumentTest, IsWarnedOfWhereItIsDamagedNow)
{
    MakeSample("other.pdf", 3);
    Write("other.pdf", Read("other.pdf").replace("startxref", "startxxxx"));
    const Outcome run = ConvertAndMeanwhile([this] { Replace("other.pdf"); });
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_THAT(run.complaints, HasSubstr("second.pdf: is damaged and was repaired"));
    EXPECT_EQ(WholePictures("out").size(), 60 + 3);
}

TEST_F(ChangedDocumentTest, IsToldAsWhatItIsWhereItCannotBeConvertedAnyMore)
{
    const auto becomes = [this](const QByteArray& content) {
        Write("other.pdf", content);
        const Outcome run = ConvertAndMeanwhile([this] { Replace("other.pdf"); });
        EXPECT_EQ(run.exitCode, 10);
        EXPECT_EQ(run.results.size(), 60);
        QDir(Path("out")).removeRecursively();
        return run.complaints;
    };
    EXPECT_THAT(becomes("no document"), HasSubstr("second.pdf: is not a PDF"));
    EXPECT_THAT(becomes(""), HasSubstr("second.pdf: is an empty file"));
}

TEST_F(ChangedDocumentTest, IsMissedWhereItIsGone)
{
    const Outcome run = ConvertAndMeanwhile([this] { QFile::remove(Path("second.pdf")); });
    EXPECT_EQ(run.exitCode, 10);
    EXPECT_THAT(run.complaints, HasSubstr("second.pdf: No such file or directory"));
    EXPECT_EQ(run.results.size(), 60);
}

} // namespace
} // namespace Korvel::App
