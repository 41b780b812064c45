// Runs that write down what they do, and go on where others were killed.

#include "DescribedJson.h"
#include "FilesBelow.h"
#include "JournalText.h"
#include "Program.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <map>

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <sys/file.h>
#include <sys/stat.h>

namespace Korvel::App {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class JournalTest : public ProgramTest
{
protected:
    JournalTest()
    {
        EXPECT_TRUE(QDir(Path("")).mkdir("b"));
        MakeSample("a.pdf", 3);
        MakeSample("b/a.pdf", 2, "pw");
        MakeSample("c.pdf", 4);
        Write("list", "a.pdf\nb/a.pdf\nc.pdf\n");
    }

    /** To pictures in `folder`, slow enough to be caught at it. */
    static QStringList Arguments(const QString& folder, const QString& journal = "journal")
    {
        QStringList arguments{"--from-list", "list", "-d",        folder,
                              "--password",  "pw",   "--no-input"};
        if (!journal.isEmpty())
            arguments << "--journal" << journal;
        return arguments;
    }

    QList<QJsonObject> Journal(const QString& name = "journal") const
    {
        QList<QJsonObject> lines;
        if (!QFile::exists(Path(name)))
            return lines;
        for (const QByteArray& line : Read(name).split('\n'))
            lines << QJsonDocument::fromJson(line).object();
        lines.removeLast();
        return lines;
    }

    QList<QJsonObject> Journal(const char* event) const
    {
        QList<QJsonObject> lines;
        for (const QJsonObject& line : Journal()) {
            if (line["event"] == event)
                lines << line;
        }
        return lines;
    }

    QStringList FilesOf(const char* event) const
    {
        QStringList files;
        for (const QJsonObject& line : Journal(event))
            files << line["file"].toString();
        return files;
    }

    /** Kills a run as soon as its journal has so many new lines, unless it has ended before. */
    void RunAndKill(const QStringList& arguments, int lines) const
    {
        const auto before = Journal().size();
        const auto process = Start(arguments);
        while (Journal().size() < before + lines && !process->waitForFinished(1)) {
        }
        if (process->state() != QProcess::NotRunning)
            process->kill();
        Finish(*process);
    }

    /** Leaves journal and results as if the last run had been killed before so many of its lines.
     */
    void TakeBack(int lines) const
    {
        QByteArray journal = Read("journal");
        for (; lines > 0; --lines) {
            const auto begin = journal.lastIndexOf('\n', -2) + 1;
            const QJsonObject line = QJsonDocument::fromJson(journal.mid(begin)).object();
            if (line["event"] == "placing") {
                EXPECT_TRUE(QFile::remove(Path(line["path"].toString())));
            }
            journal.truncate(begin);
        }
        Write("journal", Sealed(journal));
    }

    /** What the files below a folder hold, by their paths in it. */
    std::map<QString, QByteArray> Contents(const QString& name) const
    {
        std::map<QString, QByteArray> contents;
        const QDir root(QDir(Path("")).filePath(name));
        for (const QString& path : PDF::Test::FilesBelow(root.path())) {
            QFile file(path);
            EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
            contents[root.relativeFilePath(path)] = file.readAll();
        }
        return contents;
    }
};

/** Of files that are not in both, or not the same. */
QStringList Differences(const std::map<QString, QByteArray>& found,
                        const std::map<QString, QByteArray>& expected)
{
    QStringList names;
    for (const auto& [name, content] : expected) {
        if (found.count(name) == 0)
            names << name + " is missing";
        else if (found.at(name) != content)
            names << name + " has other bytes";
    }
    for (const auto& [name, content] : found) {
        if (expected.count(name) == 0)
            names << name + " is too many";
    }
    return names;
}

TEST_F(JournalTest, TellsEachStepOfADocument)
{
    Write("bad.pdf", "no PDF");
    Write("list", "a.pdf\nbad.pdf\n");
    const Outcome run = Run(Arguments("out"));
    EXPECT_EQ(run.exitCode, 10);
    QStringList events;
    for (const QJsonObject& line : Journal()) {
        events << line["event"].toString();
        EXPECT_TRUE(QDateTime::fromString(line["time"].toString(), Qt::ISODateWithMs).isValid());
    }
    EXPECT_EQ(events, QStringList({"begun", "given", "planned", "failed", "placing", "placing",
                                   "placing", "done", "ended"}));
    const QJsonObject begun = Journal("begun").first();
    EXPECT_EQ(begun["version"], 2);
    EXPECT_THAT(begun["session"].toString().toStdString(), StartsWith("pdfconvert-"));
    EXPECT_EQ(Journal("given").first()["documents"], 2);
    const QJsonObject planned = Journal("planned").first();
    EXPECT_EQ(planned["file"], "a.pdf");
    EXPECT_EQ(planned["pages"], 3);
    EXPECT_EQ(planned["results"].toArray().at(2).toObject(),
              (QJsonObject{{"page", 3}, {"path", "out/a-3.png"}}));
    const QJsonObject done = Journal("done").first();
    EXPECT_EQ(done["results"].toArray().at(2).toObject(),
              (QJsonObject{{"page", 3},
                           {"path", "out/a-3.png"},
                           {"bytes", QFileInfo(Path("out/a-3.png")).size()}}));
    EXPECT_EQ(Journal("failed").first()["reason"], "not-a-pdf");
    EXPECT_EQ(Journal("ended").first()["exitCode"], 10);
    EXPECT_FALSE(Read("journal").contains("pw\"")) << "no password";
}

TEST_F(JournalTest, LeavesTheCopiesOfAnUndisturbedRunByteByByte)
{
    const QStringList toCopies{"-f", "pdf"};
    ASSERT_EQ(Run(toCopies + Arguments("undisturbed", "")).exitCode, 0);
    const auto undisturbed = Contents("undisturbed");
    ASSERT_EQ(undisturbed.size(), 3u);
    for (const int lines : {3, 5, 7}) {
        RunAndKill(toCopies + Arguments("out"), lines);
        EXPECT_EQ(Run(toCopies + Arguments("out")).exitCode, 0);
        EXPECT_EQ(Differences(Contents("out"), undisturbed), QStringList()) << lines;
        QDir(Path("out")).removeRecursively();
        QFile::remove(Path("journal"));
    }
}

TEST_F(JournalTest, LeavesTheFilesOfAnUndisturbedRunWhereverItIsKilled)
{
    ASSERT_EQ(Run(Arguments("undisturbed", "")).exitCode, 0);
    const auto undisturbed = Contents("undisturbed");
    ASSERT_EQ(undisturbed.size(), 9);
    for (int lines = 1; lines < 18; lines += 3) {
        QFile::remove(Path("journal"));
        const QString out = QStringLiteral("out%1").arg(lines);
        RunAndKill(Arguments(out), lines);
        RunAndKill(Arguments(out), 6);
        const Outcome last = Run(Arguments(out));
        EXPECT_EQ(last.exitCode, 0) << last.complaints;
        EXPECT_EQ(Differences(Contents(out), undisturbed), QStringList()) << lines << " lines";
        EXPECT_THAT(LeftInTempDir(), IsEmpty());
    }
}

TEST_F(JournalTest, LeavesThemWhereDocumentsAreOpenedWhileOthersAreConverted)
{
    const auto into = [](const QString& folder) {
        return QStringList{"--from-list", "list", "-d", folder, "-r", "30", "--no-input"};
    };
    const QStringList journal{"--journal", "journal"};
    QFile::remove(Path("b/a.pdf")); // which is encrypted
    for (const char* name : {"b/a.pdf", "d.pdf", "e.pdf"})
        MakeSample(name, 2);
    Write("list", "a.pdf\nb/a.pdf\nc.pdf\nbad.pdf\nd.pdf\na.pdf\ne.pdf\n");
    Write("bad.pdf", "no PDF");
    ASSERT_EQ(Run(into("undisturbed") + QStringList{"--journal", "other"}).exitCode, 10);
    const auto undisturbed = Contents("undisturbed");
    ASSERT_EQ(undisturbed.size(), 13);
    for (int lines = 2; lines < 24; lines += 2) {
        QFile::remove(Path("journal"));
        const QString out = QStringLiteral("out%1").arg(lines);
        RunAndKill(into(out) + journal, lines);
        RunAndKill(into(out) + journal, 6);
        EXPECT_EQ(Run(into(out) + journal).exitCode, 10);
        EXPECT_EQ(Differences(Contents(out), undisturbed), QStringList()) << lines << " lines";
        EXPECT_THAT(LeftInTempDir(), IsEmpty());
    }
}

TEST_F(JournalTest, CountsEachDocumentOnceThatIsToDo)
{
    Write("list", "a.pdf\nnone.pdf\na.pdf\nc.pdf\n");
    const QStringList arguments{"--from-list", "list",       "-d",        "out",    "-f",
                                "txt",         "--no-input", "--journal", "journal"};
    Run(arguments);
    Run(arguments);
    Run(arguments + QStringList{"--retry-failed"});
    std::vector<int> counts;
    for (const QJsonObject& line : Journal("given"))
        counts.push_back(line["documents"].toInt());
    EXPECT_EQ(counts, std::vector<int>({3, 0, 1}));
}

TEST_F(JournalTest, LeavesThemOnAnotherVolumeToo)
{
    ASSERT_EQ(Run(Arguments("undisturbed", "")).exitCode, 0);
    const QTemporaryDir elsewhere("/dev/shm/journal-test-XXXXXX");
    ASSERT_TRUE(elsewhere.isValid());
    RunAndKill(Arguments(elsewhere.path()), 7);
    RunAndKill(Arguments(elsewhere.path()), 7);
    EXPECT_EQ(Run(Arguments(elsewhere.path())).exitCode, 0);
    EXPECT_EQ(Differences(Contents(elsewhere.path()), Contents("undisturbed")), QStringList());
}

TEST_F(JournalTest, DoesNotTouchWhatIsDone)
{
    ASSERT_EQ(Run(Arguments("out")).exitCode, 0);
    QFile::remove(Path("out/a-1.png"));
    Write("out/a-2.png", "changed since");
    const Outcome again = Run(Arguments("out"));
    EXPECT_EQ(again.exitCode, 0);
    EXPECT_THAT(again.complaints, HasSubstr("0 of 3 documents converted, 3 were before"));
    EXPECT_EQ(again.results, QStringList());
    EXPECT_FALSE(QFile::exists(Path("out/a-1.png")));
    EXPECT_EQ(Read("out/a-2.png"), "changed since");
}

TEST_F(JournalTest, ReplacesNothingThatOthersPutIntoItsPlan)
{
    Write("list", "a.pdf\n");
    const QStringList inOrder = Arguments("out") + QStringList{"--jobs", "1"};
    ASSERT_EQ(Run(inOrder).exitCode, 0);
    TakeBack(3); // ended, done, and the last page
    Write("out/a-3.png", "theirs");
    Write("out/a-1.png", "changed by them");
    EXPECT_EQ(Run(inOrder).exitCode, 0);
    EXPECT_EQ(Read("out/a-3.png"), "theirs");
    EXPECT_EQ(Read("out/a-1.png"), "changed by them");
    EXPECT_TRUE(QFile::exists(Path("out/a-3(2).png")));
    EXPECT_TRUE(QFile::exists(Path("out/a-1(2).png")));
    EXPECT_EQ(Contents("out").size(), 5);
}

TEST_F(JournalTest, LeavesAFileAloneThatIsLikeTheOneThatItRefused)
{
    Write("list", "a.pdf\n");
    const QStringList inOrder = Arguments("out") + QStringList{"--jobs", "1"};
    ASSERT_EQ(Run(inOrder).exitCode, 0);
    const QByteArray page = Read("out/a-1.png");
    TakeBack(5);
    const QString theirs = Write("out/a-1.png", page);
    ASSERT_EQ(Run(inOrder).exitCode, 0);
    ASSERT_EQ(Contents("out").size(), 4);
    TakeBack(6); // ended, done, the pages, and the plan with a new name for the first one
    ASSERT_EQ(Journal().last()["event"], "refused");
    ASSERT_EQ(Contents("out").size(), 1);
    EXPECT_EQ(Run(inOrder).exitCode, 0);
    EXPECT_EQ(Contents("out").size(), 4) << "the page is missing";
    EXPECT_EQ(Read("out/a-1(2).png"), page);
}

TEST_F(JournalTest, TellsOfATakenNameWhereThatPageGoesAlone)
{
    Write("list", "a.pdf\n");
    const QStringList inOrder = Arguments("out") + QStringList{"--jobs", "1"};
    ASSERT_EQ(Run(inOrder).exitCode, 0);
    TakeBack(5);
    Write("out/a-1.png", "theirs");
    ASSERT_EQ(Run(inOrder).exitCode, 0);
    TakeBack(5); // ended, done, the pages
    const QJsonObject anew = Journal().last();
    EXPECT_EQ(anew["event"], "planned");
    EXPECT_EQ(anew["anew"], true);
    EXPECT_EQ(anew["results"].toArray(),
              QJsonArray({QJsonObject{{"page", 1}, {"path", "out/a-1(2).png"}}}));
    EXPECT_EQ(Run(inOrder).exitCode, 0);
    const auto there = Contents("out");
    EXPECT_EQ(there.size(), 4);
    EXPECT_EQ(there.count("a-1(2).png"), 1);
    EXPECT_EQ(Read("out/a-1.png"), "theirs");
}

TEST_F(JournalTest, PlansADocumentAnewThatIsAnotherOneNow)
{
    ASSERT_EQ(Run(Arguments("undisturbed", "")).exitCode, 0);
    Write("list", "a.pdf\n");
    for (const QString what : {"number", "fail", "skip", "overwrite"}) {
        QFile::remove(Path("journal"));
        const QStringList arguments = Arguments(what) << "--on-exists" << what;
        ASSERT_EQ(Run(arguments).exitCode, 0);
        TakeBack(3);
        const QByteArray old = Read("a.pdf");
        Write("a.pdf", Read("c.pdf")); // has a page more
        EXPECT_EQ(Run(arguments).exitCode, 0) << what.toStdString();
        EXPECT_EQ(Contents(what).size(), 4) << what.toStdString();
        for (const QString page : {"1", "2", "3", "4"})
            EXPECT_EQ(Read(what + "/a-" + page + ".png"), Read("undisturbed/c-" + page + ".png"));
        Write("a.pdf", old);
    }
}

TEST_F(JournalTest, BelievesNoPathThatIsNotOfItsOutput)
{
    Write("list", "a.pdf\n");
    ASSERT_EQ(Run(Arguments("out")).exitCode, 0);
    TakeBack(2);
    QFile::rename(Path("out/a-2.png"), Path("precious.png"));
    Write("journal", Sealed(Read("journal").replace("out/a-2.png", "precious.png")));
    const QByteArray precious = Read("precious.png");
    Write("a.pdf", Read("c.pdf").replace("/Count 4", "/Count 3"));
    EXPECT_THAT(Run(Arguments("out")).exitCode, testing::AnyOf(0, 3));
    EXPECT_EQ(Read("precious.png"), precious);
    EXPECT_TRUE(QFile::exists(Path("out/a-2.png")));
}

TEST_F(JournalTest, TakesNothingForItsOwnThatIsNoFile)
{
    Write("list", "a.pdf\n");
    ASSERT_EQ(Run(Arguments("out")).exitCode, 0);
    TakeBack(2);
    QFile::rename(Path("out/a-1.png"), Path("archived.png"));
    ASSERT_TRUE(QFile::link(Path("archived.png"), Path("out/a-1.png")));
    QFile::remove(Path("out/a-2.png"));
    ASSERT_EQ(::mkfifo(Path("out/a-2.png").toLocal8Bit().constData(), 0600), 0);
    EXPECT_EQ(Run(Arguments("out")).exitCode, 10) << "a pipe is no place for a picture";
    EXPECT_TRUE(QFileInfo(Path("out/a-1.png")).isSymLink());
}

TEST_F(JournalTest, IsNotBoundToSettingsThatMadeNothing)
{
    EXPECT_EQ(Run(Arguments("out") << "--pages"
                                   << "9")
                  .exitCode,
              10);
    EXPECT_EQ(Run(Arguments("out") << "--retry-failed").exitCode, 0);
    EXPECT_EQ(Contents("out").size(), 9);
}

TEST_F(JournalTest, TakesNoNameForOneThatIsShownLikeIt)
{
    ASSERT_TRUE(QFile::rename(Path("a.pdf"), Path("x\\xff.pdf")));
    Write("list", "x\xff.pdf\nx\\xff.pdf\n");
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(Run(Arguments("out")).exitCode, 10);
        EXPECT_EQ(Contents("out").size(), 3);
    }
}

TEST_F(JournalTest, KeepsANameThatItHadToChooseAnew)
{
    Write("list", "a.pdf\n");
    ASSERT_EQ(Run(Arguments("out")).exitCode, 0);
    TakeBack(5);
    Write("out/a-2.png", "theirs");
    ASSERT_EQ(Run(Arguments("out")).exitCode, 0);
    TakeBack(2); // ended and done
    EXPECT_EQ(Run(Arguments("out")).exitCode, 0);
    EXPECT_EQ(Read("out/a-2.png"), "theirs");
    EXPECT_EQ(Contents("out").size(), 4) << "a-2.png is theirs, and a-2(2).png is the page";
    EXPECT_TRUE(QFile::exists(Path("out/a-2(2).png")));
}

TEST_F(JournalTest, ReplacesWhatItHadPutInPlaceWhateverIsDoneAboutOtherFiles)
{
    Write("list", "a.pdf\nc.pdf\n");
    for (const QString what : {"number", "fail", "skip", "overwrite"}) {
        QFile::remove(Path("journal"));
        const QStringList arguments = Arguments(what) << "--on-exists" << what;
        ASSERT_EQ(Run(arguments).exitCode, 0);
        const auto undisturbed = Contents(what);
        TakeBack(4);
        EXPECT_EQ(Run(arguments).exitCode, 0) << what.toStdString();
        EXPECT_EQ(Differences(Contents(what), undisturbed), QStringList()) << what.toStdString();
    }
}

TEST_F(JournalTest, SaysWhatWasSkipped)
{
    Write("list", "a.pdf\n");
    Run(Arguments("out", ""));
    const Outcome run = Run(Arguments("out") << "--on-exists"
                                             << "skip");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(FilesOf("skipped"), QStringList("a.pdf"));
}

TEST_F(JournalTest, UnderstandsATornLastLine)
{
    ASSERT_EQ(Run(Arguments("out")).exitCode, 0);
    const auto before = Contents("out");
    QByteArray journal = Read("journal");
    const auto torn = journal.lastIndexOf("{\"event\":\"done\"");
    Write("journal", Sealed(journal.left(torn)) + journal.mid(torn, 30));
    EXPECT_EQ(Run(Arguments("out")).exitCode, 0);
    EXPECT_EQ(Differences(Contents("out"), before), QStringList());
    EXPECT_EQ(FilesOf("done").size(), 3) << "each of them once";
    for (const QJsonObject& line : Journal())
        EXPECT_FALSE(line.isEmpty()) << "a line begins where the torn one was";
}

TEST_F(JournalTest, BeginsAnewWhenTheFirstLineWasTorn)
{
    Write("journal", R"({"event":"begun","ho)");
    EXPECT_EQ(Run(Arguments("out")).exitCode, 0);
    EXPECT_EQ(Journal("begun").size(), 1);
    EXPECT_EQ(FilesOf("done").size(), 3);
}

TEST_F(JournalTest, RefusesASecondRunAndNamesTheFirst)
{
    QStringList arguments = Arguments("out");
    arguments.replace(arguments.indexOf("list"), "-");
    const auto first = Start(arguments); // and waits for its list
    while (Journal("begun").isEmpty() && !first->waitForFinished(1)) {
    }
    const Outcome second = Run(Arguments("out"));
    EXPECT_EQ(second.exitCode, 5);
    EXPECT_THAT(second.complaints, HasSubstr("the journal journal belongs to process " +
                                             std::to_string(first->processId()) + " on "));
    EXPECT_THAT(Contents("out"), IsEmpty());
    first->write("c.pdf\n");
    first->closeWriteChannel();
    EXPECT_EQ(Finish(*first).exitCode, 0);
    EXPECT_EQ(Run(Arguments("out")).exitCode, 0) << "the others, once the first has ended";
    EXPECT_EQ(Contents("out").size(), 9);
}

TEST_F(JournalTest, WaitsForWhatAKilledRunHasLeftBehind)
{
    MakeSample("one.pdf", 1);
    QFile held(Write("held", ""));
    ASSERT_TRUE(held.open(QIODevice::ReadWrite));
    ASSERT_EQ(::flock(held.handle(), LOCK_EX), 0);
    QProcess process;
    process.setWorkingDirectory(Path(""));
    process.start(PDFCONVERT, {"--temp-dir", TempDir(), "one.pdf", "-d", "out", "--journal", "held",
                               "-f", "txt"});
    const auto hasOpened = [&] {
        const QDir itself(QStringLiteral("/proc/%1").arg(process.processId()));
        const auto files = QDir(itself.filePath("fd")).entryInfoList(QDir::Files | QDir::System);
        const QString program = QFileInfo(itself.filePath("exe")).symLinkTarget();
        return program == QFileInfo(PDFCONVERT).canonicalFilePath() &&
               std::any_of(files.begin(), files.end(), [&](const QFileInfo& file) {
                   return file.symLinkTarget() == Path("held");
               });
    };
    while (!hasOpened() && !process.waitForFinished(1)) {
    }
    ASSERT_EQ(::flock(held.handle(), LOCK_UN), 0);
    EXPECT_EQ(Finish(process).exitCode, 0);
}

TEST_F(JournalTest, KeepsFailuresUntilTheyAreToBeTriedAgain)
{
    Write("bad.pdf", "no PDF");
    Write("list", "bad.pdf\na.pdf\n");
    EXPECT_EQ(Run(Arguments("out")).exitCode, 10);
    QFile::remove(Path("bad.pdf"));
    MakeSample("bad.pdf", 1);
    const Outcome again = Run(Arguments("out"));
    EXPECT_EQ(again.exitCode, 10);
    EXPECT_THAT(again.complaints, AllOf(HasSubstr("1 had failed before (--retry-failed"),
                                        Not(HasSubstr("is not a PDF"))));
    EXPECT_FALSE(QFile::exists(Path("out/bad-1.png")));
    EXPECT_EQ(Run(Arguments("out") << "--retry-failed").exitCode, 0);
    EXPECT_TRUE(QFile::exists(Path("out/bad-1.png")));
    EXPECT_EQ(Run(Arguments("out")).exitCode, 0);
}

TEST_F(JournalTest, TriesAFailedDocumentAgainInTheNamesThatItHad)
{
    Write("list", "a.pdf\n");
    Write("out", "in the way of the folder");
    EXPECT_EQ(Run(Arguments("out")).exitCode, 10);
    ASSERT_EQ(FilesOf("failed"), QStringList("a.pdf"));
    QFile::remove(Path("out"));
    Write("list", "b/a.pdf\na.pdf\n");
    EXPECT_EQ(Run(Arguments("out")).results, QStringList({"out/a-1(2).png", "out/a-2(2).png"}));
    EXPECT_EQ(Run(Arguments("out") << "--retry-failed").results,
              QStringList({"out/a-1.png", "out/a-2.png", "out/a-3.png"}));
}

TEST_F(JournalTest, EndsWithTenWhenAllHaveFailedAlike)
{
    Write("list", "none.pdf\n");
    EXPECT_EQ(Run(Arguments("out", "")).exitCode, 4);
    EXPECT_EQ(Run(Arguments("out")).exitCode, 10);
}

TEST_F(JournalTest, ConvertsADocumentOnceThatTheListNamesTwice)
{
    Write("list", "a.pdf\na.pdf\nnone.pdf\nnone.pdf\n");
    const Outcome run = Run(Arguments("out"));
    EXPECT_THAT(run.complaints, AllOf(HasSubstr("1 failed"), Not(HasSubstr("before"))));
    EXPECT_EQ(Contents("out").size(), 3);
    EXPECT_EQ(FilesOf("failed"), QStringList("none.pdf"));
}

TEST_F(JournalTest, RefusesOtherSettings)
{
    ASSERT_EQ(Run(Arguments("out")).exitCode, 0);
    const Outcome other = Run(Arguments("out") << "-r"
                                               << "300");
    EXPECT_EQ(other.exitCode, 2);
    EXPECT_THAT(other.complaints, HasSubstr("resolution was '150' and is '300'"));
}

TEST_F(JournalTest, GoesOnWithAnotherEngineOnlyWhenThatIsChosen)
{
    Write("list", "a.pdf\n");
    ASSERT_EQ(Run(Arguments("out") + QStringList{"--engine", "qt"}).exitCode, 0);
    EXPECT_THAT(Journal("planned").last()["engine"].toString().toStdString(),
                StartsWith("Qt PDF (/"));
    if (!Run({"--version"}).results.join('\n').contains("engine: PDFium"))
        GTEST_SKIP() << "there is no library of PDFium";
    Write("list", "a.pdf\nc.pdf\n");
    const Outcome other = Run(Arguments("out"));
    EXPECT_EQ(other.exitCode, 2);
    EXPECT_THAT(other.complaints, AllOf(HasSubstr("journal were drawn by Qt PDF (/"),
                                        HasSubstr("by PDFium (/"), HasSubstr("--engine")));
    EXPECT_EQ(Contents("out").size(), 3);
    EXPECT_EQ(FilesOf("failed"), QStringList());
    EXPECT_EQ(Run(Arguments("out") + QStringList{"--engine", "pdfium"}).exitCode, 0);
    EXPECT_THAT(Journal("planned").last()["engine"].toString().toStdString(),
                StartsWith("PDFium (/"));
    Write("list", "a.pdf\nc.pdf\nb/a.pdf\n");
    EXPECT_EQ(Run(Arguments("out")).exitCode, 0);
    EXPECT_EQ(FilesOf("done"), QStringList({"a.pdf", "c.pdf", "b/a.pdf"}));
}

TEST_F(JournalTest, MindsNoEngineWhereNoPageIsDrawn)
{
    const QStringList copies = Arguments("out") + QStringList{"-f", "pdf"};
    Write("list", "a.pdf\n");
    ASSERT_EQ(Run(copies + QStringList{"--engine", "qt"}).exitCode, 0);
    Write("list", "a.pdf\nc.pdf\n");
    EXPECT_EQ(Run(copies).exitCode, 0);
    EXPECT_FALSE(Journal("planned").last().contains("engine"));
}

TEST_F(JournalTest, LeavesAFileAloneThatIsNoJournal)
{
    const QByteArray list = Read("list");
    const Outcome run = Run(Arguments("out", "list"));
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_THAT(run.complaints, HasSubstr("list is no journal"));
    EXPECT_EQ(Read("list"), list);
    Write("half", R"({"event":"begun"}
half a line
)");
    EXPECT_THAT(Run(Arguments("out", "half")).complaints, HasSubstr("half: line 2 is damaged"));
}

TEST_F(JournalTest, DoesNotMisunderstandALaterVersion)
{
    const QByteArray later = R"({"event":"begun","version":3})"
                             "\n";
    Write("journal", later);
    const Outcome run = Run(Arguments("out"));
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_THAT(run.complaints, HasSubstr("journal was written by a later version of pdfconvert"));
    EXPECT_EQ(Read("journal"), later);
}

TEST_F(JournalTest, SaysWhyItCannotBeWritten)
{
    EXPECT_THAT(Run(Arguments("out", "none/journal")).complaints,
                HasSubstr("cannot write the journal none/journal: No such file"));
    EXPECT_THAT(Run(Arguments("out", "b")).complaints, HasSubstr("it is not a regular file"));
    EXPECT_EQ(Run(Arguments("out", "/dev/null")).exitCode, 5);
}

TEST_F(JournalTest, RemovesWhatAKilledRunWasJustPuttingInPlace)
{
    ASSERT_EQ(Run(Arguments("out")).exitCode, 0);
    TakeBack(3);
    const QString session = Journal("begun").first()["session"].toString();
    Write("out/." + session + "-x1Y2z3", "half a page");
    QFile other(Write("out/.pdfconvert-Other1-x1Y2z3", "of another run"));
    ASSERT_TRUE(other.open(QIODevice::ReadWrite));
    ASSERT_EQ(::flock(other.handle(), LOCK_EX), 0) << "which still writes it";
    EXPECT_EQ(Run(Arguments("out")).exitCode, 0);
    EXPECT_FALSE(QFile::exists(Path("out/." + session + "-x1Y2z3")));
    EXPECT_TRUE(QFile::exists(Path("out/.pdfconvert-Other1-x1Y2z3")));
}

TEST_F(JournalTest, WarnsAgainOfWhatWasRepairedBefore)
{
    QByteArray damaged = Read("c.pdf");
    damaged.replace("startxref", "starting!");
    Write("c.pdf", damaged);
    EXPECT_EQ(Run(Arguments("out")).exitCode, 3);
    EXPECT_EQ(Run(Arguments("out")).exitCode, 3);
    EXPECT_EQ(Run(Arguments("out") << "--warning-exit-0").exitCode, 0);
}

TEST_F(JournalTest, HasANumberAndAChecksumInEachLine)
{
    ASSERT_EQ(Run(Arguments("out")).exitCode, 0);
    const QByteArray journal = Read("journal");
    EXPECT_EQ(Sealed(journal), journal);
    int number = 0;
    for (const QJsonObject& line : Journal()) {
        EXPECT_EQ(line["line"], ++number);
        EXPECT_EQ(line["journal"], Journal().first()["journal"]);
    }
    EXPECT_GT(number, 9);
}

TEST_F(JournalTest, TellsALineThatIsDamagedAndMakesItsDocumentAgain)
{
    ASSERT_EQ(Run(Arguments("out")).exitCode, 0);
    const auto undisturbed = Contents("out");
    QList<QByteArray> lines = LinesOf(Read("journal"));
    const auto isDone = [](const QByteArray& line) {
        return line.contains("\"done\"") && line.contains("c.pdf");
    };
    const auto damaged = std::find_if(lines.begin(), lines.end(), isDone);
    ASSERT_NE(damaged, lines.end());
    const auto number = std::to_string(damaged - lines.begin() + 1);
    *damaged = damaged->replace("c.pdf", "d.pdf");
    Write("journal", Joined(lines));
    QFile::remove(Path("out/c-2.png"));
    for (int run = 0; run < 2; ++run) {
        const Outcome again = Run(Arguments("out"));
        EXPECT_EQ(again.exitCode, 3);
        EXPECT_THAT(again.complaints, HasSubstr("pdfconvert: journal: is damaged: line " + number +
                                                " damaged or missing; documents"));
        EXPECT_EQ(again.results.size(), run == 0 ? 4 : 0);
        EXPECT_EQ(Differences(Contents("out"), undisturbed), QStringList());
    }
    EXPECT_EQ(Run(Arguments("out") << "--warning-exit-0").exitCode, 0);
}

TEST_F(JournalTest, NumbersNoResultAnewWhoseLinesAreLost)
{
    for (const QString what : {"number", "fail", "skip", "overwrite"}) {
        QFile::remove(Path("journal"));
        const QStringList arguments = Arguments(what) << "--on-exists" << what;
        if (what != "number") // would meet the other document called a
            Write("list", "a.pdf\nc.pdf\n");
        ASSERT_EQ(Run(arguments).exitCode, 0);
        const auto undisturbed = Contents(what);
        const QList<QByteArray> lines = LinesOf(Read("journal"));
        Write("journal", Joined({lines.first(), lines.last()}));
        EXPECT_EQ(Run(arguments).exitCode, 3) << what.toStdString();
        EXPECT_EQ(Differences(Contents(what), undisturbed), QStringList()) << what.toStdString();
    }
}

TEST_F(JournalTest, TellsThatItsEndIsMissing)
{
    ASSERT_EQ(Run(Arguments("out")).exitCode, 0);
    const auto undisturbed = Contents("out");
    const QList<QByteArray> lines = LinesOf(Read("journal"));
    Write("journal", Joined(lines.mid(0, 2)));
    const Outcome again = Run(Arguments("out"));
    EXPECT_EQ(again.exitCode, 3);
    EXPECT_THAT(again.complaints,
                HasSubstr("lines 3 to " + std::to_string(lines.size()) + " damaged or missing"));
    EXPECT_EQ(Differences(Contents("out"), undisturbed), QStringList());
}

TEST_F(JournalTest, TakesNoLineOfAnotherJournal)
{
    ASSERT_EQ(Run(Arguments("other", "other-journal")).exitCode, 0);
    Write("list", "a.pdf\n");
    ASSERT_EQ(Run(Arguments("out")).exitCode, 0);
    QList<QByteArray> lines = LinesOf(Read("journal"));
    const QList<QByteArray> others = LinesOf(Read("other-journal"));
    lines.insert(3, others.at(others.size() - 2)); // which says that c.pdf is done
    Write("journal", Joined(lines));
    Write("list", "a.pdf\nc.pdf\n");
    const Outcome again = Run(Arguments("out"));
    EXPECT_EQ(again.exitCode, 3);
    EXPECT_THAT(again.complaints, HasSubstr("something before line 4 not of it"));
    EXPECT_EQ(Contents("out").size(), 7);
}

TEST_F(JournalTest, KeepsAFileOfOthersWhereItsLinesAreLost)
{
    Write("list", "a.pdf\n");
    ASSERT_EQ(Run(Arguments("out")).exitCode, 0);
    const QByteArray page = Read("out/a-1.png");
    const QList<QByteArray> lines = LinesOf(Read("journal"));
    Write("journal", Joined({lines.first(), lines.last()}));
    Write("out/a-1.png", "theirs");
    EXPECT_EQ(Run(Arguments("out")).exitCode, 3);
    EXPECT_EQ(Read("out/a-1.png"), "theirs");
    EXPECT_EQ(Read("out/a-1(2).png"), page);
    EXPECT_EQ(Contents("out").size(), 4);
}

TEST_F(JournalTest, KnowsItsOwnFilesWhereNothingButAPartOfItsFirstLineIsLeft)
{
    ASSERT_EQ(Run(Arguments("out")).exitCode, 0);
    const auto undisturbed = Contents("out");
    Write("journal", Read("journal").left(40));
    EXPECT_EQ(Run(Arguments("out")).exitCode, 0);
    EXPECT_EQ(Differences(Contents("out"), undisturbed), QStringList());
    EXPECT_EQ(Journal("begun").first()["torn"], true);
    EXPECT_EQ(Run(Arguments("out")).exitCode, 0);
}

TEST_F(JournalTest, TellsProgramsOfItsDamage)
{
    ASSERT_EQ(Run(Arguments("out")).exitCode, 0);
    Write("journal", Read("journal").replace("\"planned\"", "\"plannet\""));
    const Outcome again = Run(Arguments("out") << "--json");
    const QByteArray json = again.results.join('\n').toUtf8();
    ExpectDescribed(json);
    const QJsonObject warning =
        QJsonDocument::fromJson(json).object()["warnings"].toArray().first().toObject();
    EXPECT_EQ(warning["file"], "journal");
    EXPECT_EQ(warning["reason"], "journal-damaged");
}

TEST_F(JournalTest, RefusesOneOfAnEarlierVersion)
{
    const QByteArray earlier = R"({"event":"begun","version":1})"
                               "\n";
    Write("journal", earlier);
    const Outcome run = Run(Arguments("out"));
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_THAT(run.complaints,
                HasSubstr("the journal journal was begun by an earlier version of pdfconvert, "
                          "whose lines have no checksums"));
    EXPECT_EQ(Read("journal"), earlier);
}

} // namespace
} // namespace Korvel::App
