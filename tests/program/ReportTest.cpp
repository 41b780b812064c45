#include "DescribedJson.h"
#include "JournalText.h"
#include "Program.h"
#include "PseudoTerminal.h"

#include <gmock/gmock.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <csignal>

#include <sys/stat.h>

namespace Korvel::App {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr int longestWait = 60'000;

constexpr char begun[] = R"({"event":"begun","time":"2026-11-22T09:00:00.000Z","version":1})"
                         "\n";
constexpr char planned[] =
    R"({"event":"planned","time":"2026-11-22T09:00:01.000Z","file":"a.pdf","pages":3,"results":[]})"
    "\n";
constexpr char done[] =
    R"({"event":"done","time":"2026-11-22T09:00:02.000Z","file":"a.pdf","seconds":1.5,"results":[)"
    R"({"path":"a.png","page":1,"bytes":500}]})"
    "\n";
constexpr char failed[] =
    R"({"event":"failed","time":"2026-11-22T09:00:04.000Z","file":"b.pdf","reason":"damaged",)"
    R"("message":"b.pdf: is damaged"})"
    "\n";
constexpr char ended[] = R"({"event":"ended","time":"2026-11-22T09:00:05.000Z","exitCode":0})"
                         "\n";

/** The JSON document that a run has printed. */
QJsonObject SummaryOf(const Outcome& run)
{
    const QByteArray text = run.results.join('\n').toUtf8();
    ExpectDescribed(text);
    return QJsonDocument::fromJson(text).object();
}

class ReportTest : public ProgramTest
{
protected:
    std::unique_ptr<QProcess> StartReport(const QStringList& arguments) const
    {
        auto process = std::make_unique<QProcess>();
        process->setWorkingDirectory(Path(""));
        process->start(PDFCONVERT, QStringList("report") + arguments);
        EXPECT_TRUE(process->waitForStarted());
        return process;
    }

    Outcome Report(const QStringList& arguments) const { return Finish(*StartReport(arguments)); }

    void Append(const QString& name, const QByteArray& lines) const
    {
        QFile file(Path(name));
        EXPECT_TRUE(file.open(QIODevice::Append));
        EXPECT_EQ(file.write(lines), lines.size());
    }

    /** The next line that it prints. */
    static QByteArray NextLine(QProcess& process)
    {
        while (!process.canReadLine() && process.waitForReadyRead(longestWait)) {
        }
        return process.readLine();
    }
};

TEST_F(ReportTest, AddsJournalsUp)
{
    Write("one.journal", QByteArray(begun) + planned + done + ended);
    Write("two.journal", QByteArray(begun) + planned + failed + begun + "{\"event\":\"do");
    const Outcome run = Report({"one.journal", "two.journal"});
    EXPECT_EQ(run.exitCode, 10);
    EXPECT_EQ(run.complaints, "");
    for (const char* const line :
         {"           2 journals", "           3 runs; 2 without an end: killed, or still at work",
          "     0:00:05 at work", "           3 documents", "           1 to do",
          "           1 done", "           1 failed", "               1 damaged",
          "           1 page, 0.2 a second", "           1 file of 500 bytes",
          "         1.5 s for 1 page of a.pdf"})
        EXPECT_THAT(run.results, Contains(line)) << run.results.join('\n').toStdString();
}

TEST_F(ReportTest, KnowsOfDocumentsThatAreStillToBeOpened)
{
    const QByteArray given = R"({"event":"given","documents":9})"
                             "\n";
    const auto toDo = [this](const QByteArray& lines) {
        Write("one.journal", begun + lines);
        return SummaryOf(Report({"one.journal", "--json"}))["pending"].toInt();
    };
    EXPECT_EQ(toDo(given), 9);
    EXPECT_EQ(toDo(given + planned), 9);
    EXPECT_EQ(toDo(given + planned + done + failed), 7);
    EXPECT_EQ(toDo(given + planned + begun + QByteArray(given).replace("9", "1")), 1)
        << "the last run counts";
    EXPECT_EQ(toDo(given + planned + done + begun + QByteArray(given).replace("9", "0")), 0)
        << "a list may become shorter";
    EXPECT_EQ(toDo(given + planned + done + begun + QByteArray(given).replace("9", "5") + failed),
              4)
        << "or another one";
    EXPECT_EQ(toDo(given + failed + begun + QByteArray(given).replace("9", "1") + failed), 0)
        << "that is tried again";
}

TEST_F(ReportTest, EndsWithZeroWhenNothingHasFailed)
{
    Write("one.journal", QByteArray(begun) + planned + done + ended);
    EXPECT_EQ(Report({"one.journal"}).exitCode, 0);
}

TEST_F(ReportTest, PrintsJson)
{
    Write("one.journal", QByteArray(begun) + planned + done + failed);
    Write("none.journal", "no journal\n");
    const Outcome run = Report({"one.journal", "none.journal", "--json"});
    EXPECT_EQ(run.exitCode, 4);
    const QJsonObject summary = SummaryOf(run);
    EXPECT_EQ(summary["version"], 1);
    EXPECT_EQ(summary["journals"], 1);
    EXPECT_EQ(summary["documents"], 2);
    EXPECT_EQ(summary["done"], 1);
    EXPECT_EQ(summary["seconds"], 4);
    EXPECT_EQ(summary["pagesPerSecond"], 0.25);
    const QJsonObject failure = summary["failures"].toArray()[0].toObject();
    EXPECT_EQ(failure["reason"], "damaged");
    EXPECT_EQ(failure["documents"], 1);
    EXPECT_EQ(summary["slowest"].toArray()[0].toObject()["file"], "a.pdf");
    const QJsonObject refused = summary["unreadable"].toArray()[0].toObject();
    EXPECT_EQ(refused["file"], "none.journal");
    EXPECT_EQ(refused["reason"], "not-a-journal");
}

TEST_F(ReportTest, TellsWhatItCannotReadAndAddsTheOthersUp)
{
    Write("one.journal", QByteArray(begun) + done);
    Write("list.txt", "a.pdf\n");
    const Outcome run = Report({"no\033ne", "list.txt", ".", "one.journal"});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_THAT(run.complaints, HasSubstr("pdfconvert: no\\x1bne: cannot read the journal"));
    EXPECT_THAT(run.complaints, HasSubstr("pdfconvert: list.txt is no journal"));
    EXPECT_THAT(run.complaints, HasSubstr("pdfconvert: .: cannot read the journal"));
    EXPECT_THAT(run.results, Contains("           1 journal"));
    EXPECT_THAT(run.results, Contains("           1 document"));
}

TEST_F(ReportTest, PrintsNothingWhenNoJournalCanBeRead)
{
    const Outcome run = Report({"none"});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_EQ(run.results, QStringList());
    EXPECT_EQ(SummaryOf(Report({"none", "--json"}))["journals"], 0);
}

TEST_F(ReportTest, WaitsForNobodyToWriteIntoAPipe)
{
    ASSERT_EQ(::mkfifo(Path("pipe").toUtf8().constData(), 0600), 0);
    const Outcome run = Report({"pipe"});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_EQ(run.complaints, "pdfconvert: pipe: cannot read the journal: it is not a regular "
                              "file\n");
}

TEST_F(ReportTest, SaysWhenStandardOutputIsFull)
{
    Write("one.journal", QByteArray(begun) + done);
    for (const QStringList& arguments : {QStringList{}, QStringList{"--json"}}) {
        QProcess process;
        process.setWorkingDirectory(Path(""));
        process.setStandardOutputFile("/dev/full");
        process.start(PDFCONVERT, QStringList{"report", "one.journal"} + arguments);
        const Outcome run = Finish(process);
        EXPECT_EQ(run.exitCode, 5);
        EXPECT_EQ(run.complaints, "pdfconvert: standard output did not take the result\n");
    }
}

TEST_F(ReportTest, FollowsJournalsUntilTheirLastRunsHaveEnded)
{
    Write("one.journal", QByteArray(begun) + planned + done + ended);
    const auto report = StartReport({"one.journal", "two.journal", "--follow"});
    EXPECT_EQ(NextLine(*report),
              "1 of 1 document done, 0 to do, 0 skipped, 0 failed; 1 page, 0.2 a "
              "second\n");
    Write("two.journal", QByteArray(begun) + QByteArray(planned).left(30));
    Append("two.journal", QByteArray(planned).mid(30));
    EXPECT_THAT(NextLine(*report).toStdString(), StartsWith("1 of 2 documents done, 1 to do, "));
    Append("two.journal", QByteArray(done) + failed + ended);
    const Outcome run = Finish(*report);
    EXPECT_EQ(run.exitCode, 10);
    EXPECT_EQ(run.complaints, "");
    EXPECT_THAT(run.results, Contains("           2 done"));
    EXPECT_THAT(run.results, Contains("           2 pages, 0.4 a second"));
}

TEST_F(ReportTest, FollowsWithALineOfJsonForEachChange)
{
    const auto report = StartReport({"one.journal", "--follow", "--json"});
    QByteArray lines = NextLine(*report);
    EXPECT_EQ(QJsonDocument::fromJson(lines)["runs"], 0);
    Write("one.journal", QByteArray(begun) + planned);
    lines += NextLine(*report);
    Append("one.journal", done);
    lines += NextLine(*report);
    Append("one.journal", ended);
    const Outcome run = Finish(*report);
    EXPECT_EQ(run.exitCode, 0);
    ASSERT_EQ(run.results.size(), 1);
    lines += run.results[0].toUtf8() + '\n';
    ExpectDescribed(lines);
    QList<int> numbersDone;
    for (const QByteArray& line : lines.trimmed().split('\n'))
        numbersDone.append(QJsonDocument::fromJson(line)["done"].toInt());
    EXPECT_EQ(numbersDone, QList<int>({0, 0, 1, 1}));
}

TEST_F(ReportTest, GoesOnFollowingPastARunThatWasInterrupted)
{
    Write("one.journal", QByteArray(begun) + planned + QByteArray(ended).replace(":0}", ":130}"));
    const auto report = StartReport({"one.journal", "--follow", "--json"});
    EXPECT_EQ(QJsonDocument::fromJson(NextLine(*report))["runsWithoutEnd"], 0);
    Append("one.journal", QByteArray(begun) + done + ended);
    const Outcome run = Finish(*report);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.results.last().toStdString(), HasSubstr(R"("runs":2)"));
}

TEST_F(ReportTest, FollowsTheOthersPastAFileThatIsNoJournal)
{
    Write("list.txt", "a.pdf\n");
    const auto report = StartReport({"list.txt", "one.journal", "--follow"});
    EXPECT_THAT(NextLine(*report).toStdString(), StartsWith("0 of 0 documents"));
    Write("one.journal", QByteArray(begun) + done + ended);
    const Outcome run = Finish(*report);
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_THAT(run.results, Contains("           1 done"));
    EXPECT_THAT(run.complaints, StartsWith("pdfconvert: list.txt is no journal"));
    EXPECT_EQ(run.complaints.find("list.txt"), run.complaints.rfind("list.txt")) << "told once";
}

TEST_F(ReportTest, StopsFollowingAtASignal)
{
    Write("one.journal", begun);
    const auto report = StartReport({"one.journal", "--follow"});
    NextLine(*report);
    Send(SIGTERM, *report);
    const Outcome run = Finish(*report);
    EXPECT_EQ(run.exitCode, 143);
    EXPECT_EQ(run.complaints, "");
}

TEST_F(ReportTest, DrawsItsTextAnewInPlaceOnATerminal)
{
    Write("one.journal", QByteArray(begun) + planned);
    PseudoTerminal terminal(PDFCONVERT, {"report", "one.journal", "--follow"}, Path(""));
    ASSERT_TRUE(terminal.WaitFor("0 files of 0 bytes\r\n")) << terminal.Screen();
    Append("one.journal", QByteArray(done) + failed);
    ASSERT_TRUE(terminal.WaitFor("\033[10A\033[J")) << "up the lines of the first text";
    ASSERT_TRUE(terminal.WaitFor("The slowest:\r\n")) << terminal.Screen();
    Append("one.journal", ended);
    EXPECT_EQ(terminal.Finish(), 10);
    const std::string screen = terminal.Screen();
    EXPECT_THAT(screen.substr(screen.rfind("\033[J")), HasSubstr("1 failed\r\n"));
    EXPECT_THAT(screen.substr(screen.rfind("\033[J")), HasSubstr("1 run\r\n"));
}

TEST_F(ReportTest, DrawsNoMoreLinesThanTheTerminalHasUntilTheEnd)
{
    constexpr int rows = 24;
    Write("one.journal", begun);
    for (int i = 0; i < rows; ++i) {
        const QByteArray number = QByteArray::number(i);
        Append("one.journal",
               QByteArray(failed).replace("b.pdf", number).replace("damaged", number));
    }
    PseudoTerminal terminal(PDFCONVERT, {"report", "one.journal", "--follow"}, Path(""));
    ASSERT_TRUE(terminal.WaitFor("\033[?7h")) << terminal.Screen();
    EXPECT_EQ(std::count(terminal.Screen().begin(), terminal.Screen().end(), '\n'), rows - 1);
    Append("one.journal", ended);
    EXPECT_EQ(terminal.Finish(), 10);
    EXPECT_THAT(terminal.Screen(), testing::EndsWith("0 files of 0 bytes\r\n"));
}

TEST_F(ReportTest, IsNotWantedByAFileThatIsCalledReport)
{
    MakeSample("report", 1);
    EXPECT_EQ(Run({"./report", "-o", "out/p.png", "-r", "20"}).exitCode, 0);
    EXPECT_EQ(WholePictures("out"), QStringList("p.png"));
}

TEST_F(ReportTest, TellsOfARunThatWritesAJournal)
{
    MakeSample("two.pdf", 2);
    Write("repaired.pdf", Read("two.pdf").replace("startxref", "startxxxx"));
    Write("torn.pdf", Read("two.pdf").left(200));
    const Outcome made = Run({"two.pdf", "repaired.pdf", "torn.pdf", "none.pdf", "-d", "out", "-r",
                              "20", "--journal", "all.journal"});
    EXPECT_EQ(made.exitCode, 10) << made.complaints;
    const QJsonObject summary = SummaryOf(Report({"all.journal", "--json"}));
    EXPECT_EQ(summary["runs"], 1);
    EXPECT_EQ(summary["runsWithoutEnd"], 0);
    EXPECT_EQ(summary["documents"], 4);
    EXPECT_EQ(summary["done"], 2);
    EXPECT_EQ(summary["repaired"], 1);
    EXPECT_EQ(summary["pages"], 4);
    EXPECT_EQ(summary["files"], 4);
    qint64 bytes = 0;
    for (const QString& path : made.results)
        bytes += Read(path).size();
    EXPECT_EQ(summary["bytes"], bytes);
    EXPECT_GT(summary["seconds"].toDouble(), 0);
    EXPECT_EQ(summary["slowest"].toArray().size(), 2);
    QStringList reasons;
    for (const auto failure : summary["failures"].toArray())
        reasons += failure.toObject()["reason"].toString();
    EXPECT_EQ(reasons, QStringList({"damaged", "not-found"}));
    EXPECT_EQ(Report({"all.journal", "--follow"}).exitCode, 10) << "all is over already";
}

class VerifyTest : public ReportTest
{
protected:
    VerifyTest()
    {
        MakeSample("two.pdf", 2);
        MakeSample("one.pdf", 1);
        EXPECT_EQ(Run({"two.pdf", "one.pdf", "-d", "out", "-r", "20", "--journal", "all.journal"})
                      .exitCode,
                  0);
    }

    Outcome Verify() const { return Report({"all.journal", "--verify"}); }
};

TEST_F(VerifyTest, FindsAllFilesAsTheyWereWritten)
{
    const Outcome run = Verify();
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.complaints, "");
    EXPECT_THAT(run.results, Contains("           3 files looked at"));
    EXPECT_THAT(run.results, Contains("           3 as written"));
    EXPECT_THAT(run.results, Contains("           0 missing, changed or unreadable"));
}

TEST_F(VerifyTest, TellsEachFileThatIsMissingOrChanged)
{
    QFile::remove(Path("out/two-1.png"));
    QByteArray changed = Read("out/two-2.png");
    changed[changed.size() / 2] = char(~changed.at(changed.size() / 2));
    Write("out/two-2.png", changed);
    Write("out/one-1.png", "shorter");
    const Outcome run = Verify();
    EXPECT_EQ(run.exitCode, 9);
    EXPECT_THAT(run.complaints, HasSubstr("pdfconvert: out/two-1.png: is missing\n"));
    EXPECT_THAT(run.complaints, HasSubstr("out/two-2.png: has other bytes than were written\n"));
    EXPECT_THAT(run.complaints, HasSubstr("out/one-1.png: has 7 bytes instead of "));
    EXPECT_THAT(run.results, Contains("           3 missing, changed or unreadable"));
}

TEST_F(VerifyTest, TellsProgramsWhatItHasFound)
{
    QFile::remove(Path("out/two-1.png"));
    QFile::remove(Path("out/two-2.png"));
    ASSERT_EQ(::mkfifo(Path("out/two-2.png").toUtf8().constData(), 0600), 0);
    QFile::remove(Path("out/one-1.png"));
    ASSERT_TRUE(QFile::link("one-1.png", Path("out/one-1.png"))); // to itself
    const Outcome run = Report({"all.journal", "--verify", "--json"});
    EXPECT_EQ(run.exitCode, 9);
    const QJsonObject verified = SummaryOf(run)["verified"].toObject();
    EXPECT_EQ(verified["files"], 3);
    EXPECT_EQ(verified["intact"], 0);
    EXPECT_EQ(verified["missing"], 1);
    EXPECT_EQ(verified["changed"], 1);
    EXPECT_EQ(verified["unreadable"], 1);
    QStringList paths;
    for (const auto finding : verified["findings"].toArray())
        paths += finding.toObject()["path"].toString();
    EXPECT_EQ(paths, QStringList({"out/one-1.png", "out/two-1.png", "out/two-2.png"}));
}

TEST_F(VerifyTest, LooksWhereTheRunsWereAndFollowsLinks)
{
    ASSERT_TRUE(QFile::rename(Path("out/one-1.png"), Path("archived.png")));
    ASSERT_TRUE(QFile::link(Path("archived.png"), Path("out/one-1.png")));
    QProcess report;
    report.setWorkingDirectory("/");
    report.start(PDFCONVERT, {"report", Path("all.journal"), "--verify"});
    EXPECT_EQ(Finish(report).exitCode, 0);
}

TEST_F(VerifyTest, GoesByTheLastOfWhatWasPutInPlace)
{
    ASSERT_EQ(Run({"two.pdf", "-d", "out", "-r", "20", "--on-exists", "overwrite", "--journal",
                   "other.journal"})
                  .exitCode,
              0);
    EXPECT_EQ(Report({"other.journal", "--verify"}).exitCode, 0);
    Write("two.pdf", "no PDF");
    EXPECT_EQ(Run({"two.pdf", "-d", "out", "--journal", "third.journal"}).exitCode, 10);
    EXPECT_EQ(Report({"third.journal", "--verify"}).exitCode, 10) << "a failure is no difference";
}

TEST_F(VerifyTest, TellsLinesThatAreDamagedAndGoesByTheOthers)
{
    QList<QByteArray> lines = LinesOf(Read("all.journal"));
    lines.removeAt(3);
    Write("all.journal", Joined(lines));
    const Outcome run = Report({"all.journal", "--verify", "--json"});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_THAT(run.complaints, HasSubstr("pdfconvert: all.journal is damaged: line 4 damaged or "
                                          "missing; what these lines told is not in the report"));
    const QJsonObject summary = SummaryOf(run);
    EXPECT_EQ(summary["unreadable"].toArray().first().toObject()["reason"], "journal-damaged");
    EXPECT_EQ(summary["done"], 2);
    EXPECT_EQ(summary["verified"].toObject()["intact"], 3);
}

} // namespace
} // namespace Korvel::App
