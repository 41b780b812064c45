// Documents of which single pages cannot be converted.

#include "DescribedJson.h"
#include "Program.h"
#include "SamplePdf.h"

#include <gmock/gmock.h>

#include <QFile>
#include <QImageReader>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace Korvel::App {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

class FailedPagesTest : public ProgramTest
{
protected:
    void MakeDocument(const QString& name, const QByteArrayList& cropBoxes,
                      const QByteArray& drawn = {}) const
    {
        MakePdfOfCropBoxes(Path(name), cropBoxes, drawn);
    }

    void MakeThreePages() const { MakeDocument("three.pdf", {whole, outside, whole}); }

    Outcome Report(const QStringList& arguments) const
    {
        QProcess process;
        process.setWorkingDirectory(Path(""));
        process.start(PDFCONVERT, QStringList("report") + arguments);
        return Finish(process);
    }

    const QByteArray whole = "0 0 200 200";
    const QByteArray outside = "900 900 950 950";
    const std::string message =
        "three.pdf: page 2: its crop box lies outside of its media box, or is empty";
};

TEST_F(FailedPagesTest, WithoutTextAreNamedOnce)
{
    MakeDocument("scan.pdf", QVector<QByteArray>(12, whole).toList(), "0 0 50 50 re f");
    const Outcome run = Run({"scan.pdf", "-o", "scan.txt"});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_EQ(run.results, QStringList("scan.txt"));
    EXPECT_THAT(run.complaints, HasSubstr("scan.pdf: no text is drawn on pages 1-12"));
    EXPECT_EQ(Read("scan.txt"), QByteArray(12, '\f'));
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

TEST_F(FailedPagesTest, ThatAreBlankLackNoText)
{
    MakeDocument("blank.pdf", {whole, whole});
    for (const char* engine : {"pdfium", "qt"}) {
        const Outcome run = Run({"blank.pdf", "-o", QString(engine) + ".txt", "--engine", engine});
        EXPECT_EQ(run.exitCode, 0) << engine;
        EXPECT_EQ(run.complaints, "") << engine;
        EXPECT_EQ(Read(QString(engine) + ".txt"), "\f\f") << engine;
    }
}

TEST_F(FailedPagesTest, AreNamedAndTheOthersConverted)
{
    MakeThreePages();
    for (const char* jobs : {"1", "3"}) {
        const QString folder = QStringLiteral("jobs-%1").arg(jobs);
        const Outcome run = Run({"three.pdf", "-o", folder + "/%d.png", "-r", "20", "-j", jobs});
        EXPECT_EQ(run.exitCode, 3);
        EXPECT_EQ(run.results, QStringList({folder + "/1.png", folder + "/3.png"}));
        EXPECT_EQ(run.complaints, "pdfconvert: " + message + '\n');
        EXPECT_EQ(WholePictures(folder), QStringList({"1.png", "3.png"}));
        EXPECT_EQ(LeftInTempDir(), QStringList());
    }
}

TEST_F(FailedPagesTest, EndWithTheCodeThatIsWanted)
{
    MakeThreePages();
    const QStringList arguments{"three.pdf", "-d", "out", "-r", "20"};
    EXPECT_EQ(Run(arguments + QStringList{"--strict"}).exitCode, 7);
    EXPECT_EQ(Run(arguments + QStringList{"--warning-exit-0"}).exitCode, 0);
    EXPECT_EQ(Run(arguments + QStringList{"--strict", "--pages", "odd"}).exitCode, 0);
}

TEST_F(FailedPagesTest, AreInJsonAndEvents)
{
    MakeThreePages();
    const QStringList arguments{"three.pdf", "-d", "out", "-r", "20"};
    const QJsonObject closing = Closing(Run(arguments + QStringList{"--json"}));
    EXPECT_EQ(closing["documents"].toArray()[0].toObject()["results"].toArray().size(), 2);
    const QJsonObject warning = closing["warnings"].toArray()[0].toObject();
    EXPECT_EQ(warning["page"], 2);
    EXPECT_EQ(warning["reason"], "cannot-render");
    EXPECT_EQ(warning["message"].toString().toStdString(), message.substr(message.find("page")));
    int told = 0;
    for (const QJsonObject& event : Events(Run(arguments + QStringList{"--progress", "json"})))
        told += event["event"] == "warning" && event["page"] == 2 ? 1 : 0;
    EXPECT_EQ(told, 1);
}

TEST_F(FailedPagesTest, AreInTheJournalAndCountInRunsThatGoOn)
{
    MakeThreePages();
    const QStringList arguments{"three.pdf", "-d", "out", "-r", "20", "--journal", "journal"};
    EXPECT_EQ(Run(arguments).exitCode, 3);
    EXPECT_THAT(Read("journal").toStdString(),
                HasSubstr("\"failedPages\":[{\"message\":\"page 2: "));
    const Outcome again = Run(arguments);
    EXPECT_EQ(again.exitCode, 3);
    EXPECT_EQ(again.results, QStringList());
    EXPECT_EQ(Run(arguments + QStringList{"--strict"}).exitCode, 7);
}

TEST_F(FailedPagesTest, AreInTheReportUntilTheyAreMadeUpFor)
{
    MakeThreePages();
    const QStringList arguments{"three.pdf", "-d", "out", "-r", "20", "--journal", "journal"};
    EXPECT_EQ(Run(arguments).exitCode, 3);
    const Outcome report = Report({"journal"});
    EXPECT_EQ(report.exitCode, 0) << report.complaints;
    EXPECT_THAT(report.results, Contains("           1 done; 1 of them without some pages"));
    EXPECT_THAT(report.results, Contains("           1 page of three.pdf: 2"));
    const QByteArray json = Report({"journal", "--json"}).results.join('\n').toUtf8();
    ExpectDescribed(json);
    const QJsonArray lacking = QJsonDocument::fromJson(json)["lacking"].toArray();
    EXPECT_EQ(lacking, QJsonArray({QJsonObject{{"file", "three.pdf"}, {"pages", QJsonArray{2}}}}));

    MakeDocument("three.pdf", {whole, whole, whole});
    EXPECT_EQ(Run(arguments + QStringList{"--retry-failed"}).exitCode, 0);
    const Outcome again = Report({"journal"});
    EXPECT_THAT(again.results, Contains("           1 done"));
    EXPECT_THAT(again.results.join('\n').toStdString(), Not(HasSubstr("of three.pdf: 2")));
}

TEST_F(FailedPagesTest, AreConvertedWhenTheirDocumentIsRetried)
{
    MakeThreePages();
    const QStringList arguments{"three.pdf", "-d", "out", "-r", "20", "--journal", "journal"};
    EXPECT_EQ(Run(arguments).exitCode, 3);
    EXPECT_EQ(Run(arguments + QStringList{"--retry-failed"}).exitCode, 3) << "they fail again";
    MakeDocument("three.pdf", {whole, whole, whole});
    EXPECT_EQ(Run(arguments).exitCode, 3) << "nothing is retried";
    const Outcome again = Run(arguments + QStringList{"--retry-failed"});
    EXPECT_EQ(again.exitCode, 0) << again.complaints;
    EXPECT_EQ(again.results,
              QStringList({"out/three-1.png", "out/three-2.png", "out/three-3.png"}));
    EXPECT_EQ(WholePictures("out"), QStringList({"three-1.png", "three-2.png", "three-3.png"}));
    EXPECT_EQ(Run(arguments).exitCode, 0);
}

TEST_F(FailedPagesTest, AreLackingStillWhereOtherPagesGoToOtherNames)
{
    MakeThreePages();
    const QStringList arguments{"three.pdf", "-d", "out", "-r", "20", "--journal", "journal"};
    EXPECT_EQ(Run(arguments).exitCode, 3);
    Write("out/three-1.png", "of somebody else");
    EXPECT_EQ(Run(arguments + QStringList{"--retry-failed"}).exitCode, 3);
    EXPECT_EQ(Read("out/three-1.png"), "of somebody else");
    EXPECT_EQ(Run(arguments + QStringList{"--retry-failed"}).exitCode, 3);
    EXPECT_THAT(Report({"journal"}).results, Contains("           1 page of three.pdf: 2"));
    const Outcome verified = Report({"journal", "--verify"});
    EXPECT_THAT(verified.complaints + verified.results.join('\n').toStdString(),
                HasSubstr("out/three-1.png"));
}

TEST_F(FailedPagesTest, CostNoResultWhereTheDocumentThatIsRetriedIsAnotherOne)
{
    MakeThreePages();
    const QStringList arguments{"three.pdf", "-d", "out", "-r", "20", "--journal", "journal"};
    EXPECT_EQ(Run(arguments).exitCode, 3);
    MakeDocument("three.pdf", {outside, outside});
    EXPECT_EQ(Run(arguments + QStringList{"--retry-failed"}).exitCode, 10);
    EXPECT_EQ(WholePictures("out"), QStringList({"three-1.png", "three-3.png"}));
}

TEST_F(FailedPagesTest, LeaveTheOthersOfATiffOfAllPages)
{
    MakeThreePages();
    const QStringList arguments{"three.pdf", "-o",     "all.tif",   "-r",
                                "20",        "--json", "--journal", "journal"};
    const Outcome run = Run(arguments);
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_EQ(run.complaints, "pdfconvert: " + message + '\n');
    EXPECT_EQ(QImageReader(Path("all.tif")).imageCount(), 2);
    const QJsonObject warning = Closing(run)["warnings"].toArray()[0].toObject();
    EXPECT_EQ(warning["page"], 2);
    EXPECT_EQ(warning["reason"], "cannot-render");
    EXPECT_THAT(Read("journal").toStdString(),
                HasSubstr("\"failedPages\":[{\"message\":\"page 2: "));
    EXPECT_EQ(Run(arguments).exitCode, 3) << "as the journal says";
    EXPECT_FALSE(QFile::exists(Path("all(2).tif")));
    EXPECT_EQ(Run({"three.pdf", "-o", "again.tif", "-r", "20", "--strict"}).exitCode, 7);
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

TEST_F(FailedPagesTest, AreTheDocumentsFailureWhenThereAreNoOthers)
{
    MakeDocument("none.pdf", {outside, outside});
    const Outcome run = Run({"none.pdf", "-d", "out"});
    EXPECT_EQ(run.exitCode, 7);
    EXPECT_EQ(run.results, QStringList());
    EXPECT_THAT(run.complaints, HasSubstr("none.pdf: page "));
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

TEST_F(FailedPagesTest, OfWebPNameItsLimit)
{
    MakeDocument("wide.pdf", {whole, "0 0 200 20"});
    const Outcome run = Run({"wide.pdf", "-o", "wide.webp", "--size", "20000x20000"});
    EXPECT_NE(run.exitCode, 0);
    EXPECT_THAT(run.complaints, HasSubstr("a WebP has at most 16383 pixels a side"));
}

} // namespace
} // namespace Korvel::App
