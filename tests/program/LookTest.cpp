#include "DescribedJson.h"
#include "IsSanitized.h"
#include "Program.h"
#include "SamplePdf.h"

#include <gmock/gmock.h>

#include <QBuffer>
#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>
#include <QScopeGuard>

namespace Korvel::App {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class LookTest : public ProgramTest
{
};

TEST_F(LookTest, OfPicturesFitsIntoASize)
{
    MakeSample("one.pdf", 1);
    ASSERT_EQ(Run({"one.pdf", "-o", "wide.png", "--size", "1000x300"}).exitCode, 0);
    ASSERT_EQ(Run({"one.pdf", "-o", "high.png", "--size", "300x1000"}).exitCode, 0);
    EXPECT_EQ(QImage(Path("wide.png")).height(), 300);
    EXPECT_NEAR(QImage(Path("wide.png")).width(), 212, 1) << "the page's shape is kept";
    EXPECT_EQ(QImage(Path("high.png")).width(), 300);
}

TEST_F(LookTest, OfPicturesCanBeGray)
{
    MakeSample("one.pdf", 1);
    ASSERT_EQ(Run({"one.pdf", "-o", "colour.png", "-r", "50"}).exitCode, 0);
    ASSERT_EQ(Run({"one.pdf", "-o", "gray.png", "-r", "50", "--gray"}).exitCode, 0);
    EXPECT_FALSE(QImage(Path("colour.png")).allGray());
    EXPECT_TRUE(QImage(Path("gray.png")).allGray());
}

TEST_F(LookTest, OfPicturesIsAsWideOrAsHighAsIsWanted)
{
    MakeSample("one.pdf", 1);
    ASSERT_EQ(Run({"one.pdf", "-o", "wide.png", "--width", "300"}).exitCode, 0);
    ASSERT_EQ(Run({"one.pdf", "-o", "high.jpg", "--height", "300"}).exitCode, 0);
    EXPECT_EQ(QImage(Path("wide.png")).size(), QSize(300, 425));
    EXPECT_EQ(QImage(Path("high.jpg")).size(), QSize(212, 300));
}

TEST_F(LookTest, OfPicturesIsThePartThatIsWantedTheWayUpThatIsWanted)
{
    MakeSample("one.pdf", 1);
    const QStringList patch{"one.pdf", "--crop", "400,60,120,60"};
    ASSERT_EQ(Run(patch + QStringList{"-o", "points.png", "-r", "144"}).exitCode, 0);
    const QImage points(Path("points.png"));
    EXPECT_EQ(points.size(), QSize(240, 120));
    EXPECT_EQ(points.pixelColor(120, 60).rgb(), SampleColour(1).rgb());
    ASSERT_EQ(
        Run({"one.pdf", "--crop", "800,120,240,120px", "-o", "pixels.png", "-r", "144"}).exitCode,
        0);
    EXPECT_EQ(QImage(Path("pixels.png")), points);
    ASSERT_EQ(Run(patch +
                  QStringList{"-o", "turned.png", "--rotate", "90", "--box", "media", "-r", "144"})
                  .exitCode,
              0);
    EXPECT_EQ(QImage(Path("turned.png")).size(), QSize(120, 240));
}

TEST_F(LookTest, ThatShowsNothingOfAPageIsAnErrorThatSaysSo)
{
    MakeSample("one.pdf", 1);
    const Outcome far = Run({"one.pdf", "-o", "none.png", "--crop", "0,0,400000,400000mm"});
    EXPECT_EQ(far.exitCode, 2);
    EXPECT_EQ(far.complaints,
              "pdfconvert: --crop has a number beyond a million points, which no page has\n"
              "Try 'pdfconvert --help'.\n");
    const Outcome run = Run({"one.pdf", "-o", "none.png", "--crop", "900,900,10,10"});
    EXPECT_EQ(run.exitCode, 7);
    EXPECT_EQ(run.complaints, "pdfconvert: one.pdf: page 1: the part that is wanted lies outside "
                              "of its crop box\n");
}

TEST_F(LookTest, OfPicturesIsBlackAndWhiteOrTransparent)
{
    MakeSample("one.pdf", 1);
    ASSERT_EQ(Run({"one.pdf", "-o", "mono.png", "--mono"}).exitCode, 0);
    ASSERT_EQ(Run({"one.pdf", "-o", "dots.tiff", "--mono", "--dither"}).exitCode, 0);
    ASSERT_EQ(Run({"one.pdf", "-o", "clear.webp", "--transparent"}).exitCode, 0);
    EXPECT_EQ(QImage(Path("mono.png")).depth(), 1);
    EXPECT_EQ(QImage(Path("dots.tiff")).depth(), 1);
    EXPECT_EQ(QImage(Path("clear.webp")).pixelColor(1, 1).alpha(), 0);
}

TEST_F(LookTest, OfAnotherKindIsNotThatOfTheJournal)
{
    MakeSample("one.pdf", 1);
    const QStringList arguments{"one.pdf", "-d", "out", "-r", "20", "--journal", "journal"};
    ASSERT_EQ(Run(arguments + QStringList{"--crop", "1,2,30,40mm"}).exitCode, 0);
    const Outcome other = Run(arguments + QStringList{"--crop", "1,2,30,41mm", "--mono"});
    EXPECT_EQ(other.exitCode, 2);
    EXPECT_THAT(other.complaints, HasSubstr("crop was '1,2,30,40mm' and is '1,2,30,41mm'"));
    EXPECT_THAT(other.complaints, HasSubstr("mono was 'false' and is 'true'"));
}

/** A picture of its own colors as a JPEG. */
QByteArray Jpeg()
{
    QImage picture(96, 48, QImage::Format_RGB32);
    picture.fill(QColor(200, 80, 20));
    QByteArray bytes;
    QBuffer buffer(&bytes);
    picture.save(&buffer, "jpg");
    return bytes;
}

TEST_F(LookTest, OfAScanIsThatOfItsOwnFile)
{
    MakeScannedPdf(Path("scans.pdf"), {{Jpeg()}, {Jpeg(), "/Scan Do"}});
    EncryptPdf(Path("scans.pdf"), Path("secret.pdf"), Encryption::Aes256, "user", "owner");
    const QStringList asIs{"-f", "jpg", "-r", "native"};
    ASSERT_EQ(Run(asIs + QStringList{"scans.pdf", "-d", "out"}).exitCode, 0);
    EXPECT_EQ(Read("out/scans-1.jpg"), Jpeg());
    EXPECT_EQ(QImage(Path("out/scans-2.jpg")).size(), QSize(600, 300)) << "it is no scan";
    ASSERT_EQ(Run(asIs + QStringList{"secret.pdf", "-d", "out", "--password", "user"}).exitCode, 0);
    EXPECT_EQ(Read("out/secret-1.jpg"), Jpeg());
}

TEST_F(LookTest, OfAScanIsRefusedWhereItCannotBeItsOwn)
{
    const Outcome png = Run({"scans.pdf", "-d", "out", "-r", "native"});
    EXPECT_EQ(png.exitCode, 2);
    EXPECT_THAT(png.complaints, HasSubstr("-r native goes with jpg only"));
    const QStringList changes[] = {
        {"--gray"}, {"--rotate", "90"}, {"--box", "trim"}, {"--crop", "1,2,3,4"}};
    for (const QStringList& change : changes) {
        const Outcome run = Run(QStringList{"scans.pdf", "-o", "a.jpg", "-r", "native"} + change);
        EXPECT_EQ(run.exitCode, 2);
        EXPECT_THAT(run.complaints, HasSubstr("-r native takes pages as they are"));
    }
    const Outcome other = Run({"scans.pdf", "-o", "a.jpg", "-r", "natively"});
    EXPECT_THAT(other.complaints, HasSubstr("'natively' is not a resolution from 1 to 4800"));
}

TEST_F(LookTest, OfPicturesCostsBytesByItsQuality)
{
    MakeSample("one.pdf", 1);
    ASSERT_EQ(Run({"one.pdf", "-o", "low.jpg", "--quality", "10"}).exitCode, 0);
    ASSERT_EQ(Run({"one.pdf", "-o", "high.jpg", "--quality", "95"}).exitCode, 0);
    EXPECT_LT(2 * Read("low.jpg").size(), Read("high.jpg").size());
}

TEST_F(LookTest, OfPicturesIsTheSameHoweverTheyArePacked)
{
    MakeSample("one.pdf", 1);
    ASSERT_EQ(Run({"one.pdf", "-o", "fast.png", "--compression", "fast"}).exitCode, 0);
    ASSERT_EQ(Run({"one.pdf", "-o", "small.png", "--compression", "small"}).exitCode, 0);
    EXPECT_EQ(QImage(Path("fast.png")), QImage(Path("small.png")));
    EXPECT_LT(Read("small.png").size(), Read("fast.png").size());
}

/** What the closing document of a run says of what has drawn. */
std::string EngineOf(const Outcome& run)
{
    const QByteArray closing = run.results.join('\n').toUtf8();
    return QJsonDocument::fromJson(closing).object()["engine"].toString().toStdString();
}

TEST_F(LookTest, IsThatOfTheEngineThatIsChosen)
{
    MakeSample("one.pdf", 1);
    const Outcome byQt = Run({"one.pdf", "-o", "qt.png", "--engine", "qt", "--json"});
    EXPECT_EQ(byQt.exitCode, 0) << byQt.complaints;
    EXPECT_THAT(EngineOf(byQt), StartsWith("Qt PDF (/"));
    const Outcome version = Run({"--version"});
    if (!version.results.join('\n').contains("engine: PDFium"))
        GTEST_SKIP() << "there is no library of PDFium";
    const Outcome byPdfium = Run({"one.pdf", "-o", "pdfium.png", "--engine", "pdfium", "--json"});
    EXPECT_EQ(byPdfium.exitCode, 0) << byPdfium.complaints;
    EXPECT_THAT(EngineOf(byPdfium), StartsWith("PDFium (/"));
    const Outcome byEither = Run({"one.pdf", "-o", "auto.png", "--json"});
    EXPECT_EQ(EngineOf(byEither), EngineOf(byPdfium));
    EXPECT_EQ(Read("auto.png"), Read("pdfium.png"));
}

TEST_F(LookTest, IsQtPdfsWherePdfiumsLibraryDoesNotServe)
{
    MakeSample("one.pdf", 1);
    ::qputenv("PDFCONVERT_PDFIUM", "/nowhere/libpdfium.so");
    const auto unsetting = qScopeGuard([] { ::qunsetenv("PDFCONVERT_PDFIUM"); });
    const Outcome either = Run({"one.pdf", "-o", "auto.png", "--json"});
    EXPECT_EQ(either.exitCode, 0) << either.complaints;
    EXPECT_THAT(EngineOf(either), StartsWith("Qt PDF (/"));
    const Outcome chosen = Run({"one.pdf", "-o", "none.png", "--engine", "pdfium"});
    EXPECT_EQ(chosen.exitCode, 1);
    EXPECT_THAT(chosen.complaints, HasSubstr("one.pdf: cannot start a worker: "));
    EXPECT_THAT(chosen.complaints,
                AllOf(HasSubstr("PDFium serves; install the package libreoffice-core-nogui, or "),
                      HasSubstr("PDFCONVERT_PDFIUM"), Not(HasSubstr("jobs"))));
    EXPECT_FALSE(QFile::exists(Path("none.png")));
}

TEST_F(LookTest, ThatNeedsMoreMemoryThanIsAllowedIsAnErrorThatSaysSo)
{
    if (PDF::Test::isSanitized)
        GTEST_SKIP() << "a sanitizer takes terabytes of address space";
    MakeSample("one.pdf", 1);
    const Outcome run = Run({"one.pdf", "-o", "huge.webp", "-r", "1000", "--memory-limit", "256"});
    EXPECT_EQ(run.exitCode, 7);
    EXPECT_THAT(run.complaints, HasSubstr("one.pdf: page 1 takes more memory than is allowed"));
    EXPECT_THAT(run.complaints, HasSubstr("--memory-limit"));
    EXPECT_FALSE(QFile::exists(Path("huge.webp")));
}

TEST_F(LookTest, ThatTakesMoreBytesThanAResultMayHaveIsAnErrorThatSaysSo)
{
    MakeSample("one.pdf", 1);
    const QStringList arguments{"one.pdf", "-o", "large.bmp", "-r", "100", "--json"};
    const Outcome run = Run(arguments + QStringList{"--max-result", "1"});
    EXPECT_EQ(run.exitCode, 7);
    EXPECT_THAT(run.complaints, HasSubstr("one.pdf: page 1 would be larger than is allowed"));
    EXPECT_THAT(run.complaints, HasSubstr("--max-result"));
    EXPECT_TRUE(run.results.join("").contains("\"reason\": \"too-large\""));
    ExpectDescribed(run.results.join('\n').toUtf8());
    EXPECT_FALSE(QFile::exists(Path("large.bmp")));
    EXPECT_EQ(LeftInTempDir(), QStringList());
    for (const char* enough : {"4", "0"})
        EXPECT_EQ(Run(arguments + QStringList{"--max-result", enough}).exitCode, 0) << enough;
}

} // namespace
} // namespace Korvel::App
