#include "DescribedJson.h"
#include "Program.h"
#include "PseudoTerminal.h"

#include <gmock/gmock.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPainter>
#include <QPdfWriter>

namespace Korvel::App {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

/** The names of the events, without those of progress. */
std::vector<std::string> Names(const std::vector<QJsonObject>& events)
{
    std::vector<std::string> names;
    for (const QJsonObject& event : events) {
        if (event["event"] != "progress")
            names.push_back(event["event"].toString().toStdString());
    }
    return names;
}

class ConsoleTest : public ProgramTest
{
};

TEST_F(ConsoleTest, InspectsWithoutConverting)
{
    MakeSample("plain.pdf", 3);
    MakeSample("secret.pdf", 2, "pw");
    Write("pw", "pw");
    const Outcome run = Run({"plain.pdf", "secret.pdf", "--inspect", "--password-file", "pw"});
    EXPECT_EQ(run.exitCode, 0) << run.complaints;
    const std::string lines = run.results.join('\n').toStdString();
    EXPECT_THAT(lines, HasSubstr("plain.pdf\n  Pages:         3\n"));
    EXPECT_THAT(lines, HasSubstr("Encryption:    none"));
    EXPECT_THAT(lines, HasSubstr("secret.pdf\n  Pages:         2\n"));
    EXPECT_THAT(lines, HasSubstr("Encryption:    AES, 256 bits"));
    EXPECT_THAT(lines, HasSubstr("Opened with:   the password, for user and owner alike\n"));
}

TEST_F(ConsoleTest, LetsNoDocumentMoveTheCursor)
{
    {
        QPdfWriter writer(Path("hostile.pdf"));
        writer.setTitle("\033[2Jgone\nPages: 99\u009b1m");
        QPainter(&writer).drawLine(0, 0, 10, 10);
    }
    EXPECT_THAT(Run({"hostile.pdf", "--inspect"}).results,
                testing::Contains("  Title:         \\x1b[2Jgone\\x0aPages: 99\\x9b1m"));
    const Outcome run = Run({"\033[2Jno\nne.pdf", "-o", "p.png", "--progress", "plain"});
    EXPECT_EQ(run.complaints, "pdfconvert: \\x1b[2Jno\\x0ane.pdf: No such file or directory\n");
}

/** A document of one empty page. */
QByteArray WithTitle(const QByteArray& title)
{
    return "%PDF-1.7\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n"
           "2 0 obj<</Type/Pages/Kids[3 0 R]/Count 1>>endobj\n"
           "3 0 obj<</Type/Page/Parent 2 0 R/MediaBox[0 0 99 99]>>endobj\n"
           "trailer<</Root 1 0 R/Info<</Title(" +
           title + ")>>>>\n";
}

TEST_F(ConsoleTest, CutsATitleThatIsTooLong)
{
    constexpr int longest = 65536;
    Write("long.pdf", WithTitle(QByteArray(5 << 20, 'x')));
    const QJsonObject document =
        Closing(Run({"long.pdf", "--inspect", "--json"}))["documents"].toArray()[0].toObject();
    EXPECT_EQ(document["properties"].toObject()["Title"].toString(), QString(longest, 'x'));
}

TEST_F(ConsoleTest, InspectsAsJson)
{
    MakeSample("secret.pdf", 2, "pw");
    Write("pw", "pw");
    const QJsonObject closing =
        Closing(Run({"secret.pdf", "none.pdf", "--inspect", "--json", "--password-file", "pw"}));
    EXPECT_EQ(closing["version"], 1);
    EXPECT_EQ(closing["exitCode"], 10);
    const QJsonObject missing = closing["documents"].toArray()[0].toObject();
    EXPECT_EQ(missing["file"], "none.pdf");
    EXPECT_EQ(missing["ok"], false);
    EXPECT_EQ(missing["reason"], "not-found");
    const QJsonObject document = closing["documents"].toArray()[1].toObject();
    EXPECT_EQ(document["file"], "secret.pdf");
    EXPECT_EQ(document["pages"], 2);
    EXPECT_EQ(document["encryption"].toObject()["method"], "AES");
    EXPECT_EQ(document["encryption"].toObject()["bits"], 256);
    EXPECT_TRUE(document["encryption"].toObject()["permissions"].isObject());
}

TEST_F(ConsoleTest, ClosesWithOneJsonDocument)
{
    MakeSample("two.pdf", 2);
    const Outcome run = Run({"two.pdf", "none.pdf", "-d", "out", "-r", "20", "--json"});
    EXPECT_EQ(run.exitCode, 10);
    EXPECT_THAT(run.complaints, HasSubstr("none.pdf: No such file"));
    const QJsonObject closing = Closing(run);
    EXPECT_EQ(closing["exitCode"], 10);
    const QJsonArray results = closing["documents"].toArray()[1].toObject()["results"].toArray();
    ASSERT_EQ(results.size(), 2);
    EXPECT_EQ(results[1].toObject()["page"], 2);
    EXPECT_EQ(results[1].toObject()["path"], "out/two-2.png");
    EXPECT_EQ(results[1].toObject()["bytes"], int(Read("out/two-2.png").size()));
}

TEST_F(ConsoleTest, TellsEventsInPlaceOfMessages)
{
    MakeSample("two.pdf", 2);
    Write("repaired.pdf", Read("two.pdf").replace("startxref", "startxxxx"));
    const Outcome run = Run({"two.pdf", "none.pdf", "repaired.pdf", "-d", "out", "-r", "20",
                             "--progress", "json", "-j", "1", "--no-input"});
    EXPECT_EQ(run.exitCode, 10);
    EXPECT_EQ(run.results.size(), 4);
    const std::vector<QJsonObject> events = Events(run);
    EXPECT_THAT(Names(events),
                ElementsAre("started", "finished", "failed", "warning", "started", "finished"));
    EXPECT_EQ(events[0]["file"], "two.pdf");
    EXPECT_EQ(events[0]["results"], 2);
    for (const QJsonObject& event : events) {
        if (event["event"] == "failed") {
            EXPECT_EQ(event["file"], "none.pdf");
            EXPECT_EQ(event["reason"], "not-found");
        } else if (event["event"] == "warning") {
            EXPECT_EQ(event["file"], "repaired.pdf");
            EXPECT_EQ(event["reason"], "repaired");
        }
    }
}

TEST_F(ConsoleTest, TellsProgressOnceATimeAndTheLastOfIt)
{
    MakeSample("many.pdf", 10);
    const std::vector<QJsonObject> events =
        Events(Run({"many.pdf", "-d", "out", "-r", "100", "--progress", "json"}));
    double last = 0;
    for (const QJsonObject& event : events) {
        if (event["event"] == "progress") {
            EXPECT_GE(event["done"].toDouble(), last);
            last = event["done"].toDouble();
        }
    }
    EXPECT_EQ(last, 1);
}

struct Reason
{
    const char* file;
    const char* reason;
};

TEST_F(ConsoleTest, GivesEachFailureItsReason)
{
    MakeSample("plain.pdf", 2);
    MakeSample("secret.pdf", 1, "pw");
    Write("wrong", "wrong");
    Write("empty.pdf", "");
    Write("picture.pdf", "no PDF");
    Write("torn.pdf", Read("plain.pdf").left(200));
    for (const Reason& row : {Reason{"none.pdf", "not-found"}, Reason{"/", "not-a-file"},
                              Reason{"empty.pdf", "empty"}, Reason{"picture.pdf", "not-a-pdf"},
                              Reason{"torn.pdf", "damaged"}, Reason{"secret.pdf", "no-password"}}) {
        const std::vector<QJsonObject> events =
            Events(Run({row.file, "-d", "out", "--progress", "json"}));
        ASSERT_EQ(events.size(), 1u) << row.file;
        EXPECT_EQ(events[0]["event"], "failed");
        EXPECT_EQ(events[0]["reason"].toString().toStdString(), row.reason) << row.file;
    }
    const auto wrong =
        Events(Run({"secret.pdf", "-d", "out", "--password-file", "wrong", "--progress", "json"}));
    EXPECT_EQ(wrong.at(0)["reason"], "wrong-password");
    const auto page = Events(Run({"plain.pdf", "-d", "out", "--pages", "9", "--progress", "json"}));
    EXPECT_EQ(page.at(0)["reason"], "no-such-page");
}

TEST_F(ConsoleTest, DoesNotBlameTheTemporaryFolderForADocumentThatCannotBeSaved)
{
    // Opened by a repair, and then libqpdf does not take its /ID.
    Write("odd.pdf", "%PDF-1.7\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n"
                     "2 0 obj<</Type/Pages/Kids[3 0 R]/Count 1>>endobj\n"
                     "3 0 obj<</Type/Page/Parent 2 0 R/MediaBox[0 0 99 99]>>endobj\n"
                     "trailer<</Root 1 0 R/ID[null null]>>\n");
    const std::vector<QJsonObject> events =
        Events(Run({"odd.pdf", "-d", "out", "--progress", "json"}));
    EXPECT_EQ(events.back()["event"], "failed");
    EXPECT_EQ(events.back()["reason"].toString().toStdString(), "damaged");
}

TEST_F(ConsoleTest, ShowsTheRateAndTheTimeLeftInItsBar)
{
    MakeSample("many.pdf", 60);
    // Long enough for there to be a rate.
    PseudoTerminal terminal(
        PDFCONVERT, {"--temp-dir", TempDir(), "many.pdf", "-d", "out", "-r", "500", "-j", "1"},
        Path(""));
    EXPECT_EQ(terminal.Finish(), 0);
    EXPECT_THAT(terminal.Screen(), HasSubstr("] 0/60 pages 0%"));
    EXPECT_THAT(terminal.Screen(),
                testing::ContainsRegex("[0-9]+\\.[0-9]/s [0-9]+:[0-9][0-9] left"));
    EXPECT_THAT(terminal.Screen(), HasSubstr("] 60/60 pages 100%"));
}

TEST_F(ConsoleTest, ShowsNoProgressWhenThatIsWanted)
{
    MakeSample("two.pdf", 2);
    PseudoTerminal terminal(
        PDFCONVERT,
        {"--temp-dir", TempDir(), "two.pdf", "-o", "%d.png", "-r", "20", "--progress", "none"},
        Path(""));
    EXPECT_EQ(terminal.Finish(), 0);
    EXPECT_EQ(terminal.Screen(), "1.png\r\n2.png\r\n");
}

TEST_F(ConsoleTest, StopsADocumentThatTakesTooLong)
{
    MakeSample("many.pdf", 100);
    MakeSample("one.pdf", 1);
    const Outcome run = Run({"many.pdf", "-o", "p/%s-%d.png", "-r", "300", "--timeout", "0.5"});
    EXPECT_EQ(run.exitCode, 124);
    EXPECT_EQ(run.results, QStringList());
    EXPECT_THAT(run.complaints, HasSubstr("many.pdf: takes longer than --timeout allows"));
    EXPECT_LT(WholePictures("p").size(), 100);
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

/** A document to be repaired, whose copy has libqpdf unpack more metadata than there is time for.
 */
QByteArray SlowToCopy()
{
    const QByteArray blanks = QByteArray("\x81 ").repeated(50'000'000); // of 128 blanks each
    const QByteArray packed = qCompress(blanks, 1).mid(4);              // without Qt's own header
    return "%PDF-1.4\n"
           "1 0 obj <</Type/Catalog/Pages 2 0 R/Metadata 4 0 R>> endobj\n"
           "2 0 obj <</Type/Pages/Kids[3 0 R]/Count 1>> endobj\n"
           "3 0 obj <</Type/Page/Parent 2 0 R/MediaBox[0 0 9 9]>> endobj\n"
           "4 0 obj <</Type/Metadata/Subtype/XML/Filter[/FlateDecode/RunLengthDecode]/Length " +
           QByteArray::number(packed.size()) + ">> stream\n" + packed +
           "\nendstream endobj\ntrailer <</Root 1 0 R>>\n";
}

TEST_F(ConsoleTest, DoesNotCountTheTimeInWhichAnotherDocumentIsCopied)
{
    MakeSample("good.pdf", 9);
    Write("slow.pdf", SlowToCopy());
    const Outcome run =
        Run({"good.pdf", "slow.pdf", "-o", "p/%s-%d.png", "-j", "2", "--timeout", "3"});
    EXPECT_EQ(run.exitCode, 10);
    EXPECT_THAT(run.complaints,
                HasSubstr("slow.pdf: takes too long to be copied without encryption or "
                          "damage; allow more with --timeout"));
    EXPECT_THAT(run.complaints, Not(HasSubstr("good.pdf")));
    EXPECT_EQ(WholePictures("p").size(), 9);
}

TEST_F(ConsoleTest, BlamesNoneOfSeveralThatTakeTooLongTogetherToBeCopied)
{
    MakeSample("secret.pdf", 300, "pw");
    QStringList arguments{"--merge", "-o", "all.pdf", "--timeout", "0.5", "--password-file", "-"};
    for (int i = 0; i < 100; ++i)
        arguments.append("secret.pdf");
    const Outcome run = Run(arguments, "pw");
    EXPECT_EQ(run.exitCode, 124);
    EXPECT_THAT(run.complaints, HasSubstr("all.pdf: takes longer than --timeout allows"));
    EXPECT_FALSE(QFile::exists(Path("all.pdf")));
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

TEST_F(ConsoleTest, DrawsOthersWhileADocumentIsCopiedWhichASignalEnds)
{
    MakeSample("good.pdf", 9);
    Write("slow.pdf", SlowToCopy());
    const auto process = Start({"good.pdf", "slow.pdf", "-o", "p/%s-%d.png", "-j", "2"});
    while (!QFile::exists(Path("p/good-9.png")) && !process->waitForFinished(1)) {
    }
    Send(SIGINT, *process);
    const Outcome run = Finish(*process);
    EXPECT_EQ(run.exitCode, 128 + SIGINT);
    EXPECT_THAT(run.complaints, HasSubstr("slow.pdf: interrupted"));
    EXPECT_EQ(WholePictures("p").size(), 9);
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

} // namespace
} // namespace Korvel::App
