// Pictures of pages.

#include "SamplePdf.h"
#include "Sanitizers.h"
#include "WorkerFixture.h"

#include <cmath>
#include <tuple>

#include <QColor>
#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QJsonArray>
#include <QPainter>
#include <QPdfWriter>
#include <QtEndian>

namespace Korvel::Worker {
namespace {

constexpr double inchesPerMetre = 1 / 0.0254;

/** How far apart two colours are in the channel that differs most. */
int Distance(const QColor& a, const QColor& b)
{
    return std::max({std::abs(a.red() - b.red()), std::abs(a.green() - b.green()),
                     std::abs(a.blue() - b.blue())});
}

/** How far the pixel that has the most colour is from gray. */
int MostColour(const QImage& picture)
{
    int most = 0;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            const QColor colour = picture.pixelColor(x, y);
            most = std::max(most, Distance(colour, {colour.green(), colour.blue(), colour.red()}));
        }
    }
    return most;
}

/** How bright the engine makes a colour: Qt takes more of its red and less of its green. */
int GrayOf(const QColor& colour)
{
    if (EngineUnderTest() == "qt")
        return qGray(colour.rgb());
    return int(0.3 * colour.red() + 0.59 * colour.green() + 0.11 * colour.blue());
}

QSize SizeAt(double dotsPerInch, const QSizeF& points)
{
    return {int(std::ceil(points.width() * dotsPerInch / 72)),
            int(std::ceil(points.height() * dotsPerInch / 72))};
}

class RenderTest : public WorkerFixture
{
protected:
    /** A page as a picture. */
    QImage Render(const QString& file, int page = 1, double dotsPerInch = 72,
                  const QString& format = "png")
    {
        const QString output = Path(QStringLiteral("out-%1.").arg(lastId) + format);
        EXPECT_EQ(
            Outcome(Convert(file, output, format, {{"page", page}, {"resolution", dotsPerInch}})),
            "ok");
        return QImage(output);
    }

    /** A page as a picture, made as the further members say. */
    QImage RenderAs(const QString& file, const QString& format, QJsonObject further)
    {
        further["page"] = 1;
        const QString output = Path(QStringLiteral("out-%1.").arg(lastId) + format);
        EXPECT_EQ(Outcome(Convert(file, output, format, further)), "ok");
        return QImage(output);
    }

    std::string RenderOutcome(const QString& file, double dotsPerInch,
                              const QString& format = "png")
    {
        const QString output = Path(QStringLiteral("none.") + format);
        const std::string outcome =
            Outcome(Convert(file, output, format, {{"page", 1}, {"resolution", dotsPerInch}}));
        EXPECT_EQ(QFile::remove(output), outcome == "ok");
        return outcome;
    }
};

class FormatTest : public RenderTest, public testing::WithParamInterface<const char*>
{
};

INSTANTIATE_TEST_SUITE_P(Formats, FormatTest, testing::Values("png", "jpg", "tif", "bmp", "webp"));

/** The resolution that a WebP tells in its Exif chunk, across and down; 0 for none. */
QPair<double, double> WebpResolution(const QByteArray& webp)
{
    const auto chunk = webp.indexOf("EXIF");
    if (chunk < 0)
        return {};
    const QByteArray exif =
        webp.mid(chunk + 8, int(qFromLittleEndian<quint32>(webp.constData() + chunk + 4)));
    const auto shortAt = [&](int at) {
        return qFromBigEndian<quint16>(exif.constData() + at);
    };
    const auto longAt = [&](int at) {
        return qFromBigEndian<quint32>(exif.constData() + at);
    };
    QMap<int, double> values;
    for (int entry = int(longAt(4)) + 2; values.size() < shortAt(int(longAt(4))); entry += 12) {
        const int at = int(longAt(entry + 8));
        values[shortAt(entry)] = shortAt(entry + 2) == 5
                                     ? double(longAt(at)) / double(longAt(at + 4))
                                     : double(shortAt(entry + 8));
    }
    const bool inches = exif.startsWith("MM") && values[0x128] == 2;
    return inches ? qMakePair(values[0x11a], values[0x11b]) : qMakePair(0.0, 0.0);
}

TEST_P(FormatTest, ShowsTheRightPageInItsColours)
{
    const QString format = GetParam();
    const QString sample = Sample(3);
    for (const int page : {3, 1, 2}) {
        const QImage picture = Render(sample, page, 72, format);
        EXPECT_EQ(picture.size(), QSize(595, 842));
        EXPECT_LE(Distance(picture.pixelColor(samplePatch.center()), SampleColour(page)), 6)
            << page;
        EXPECT_LE(
            Distance(picture.pixelColor(samplePatch.bottomRight() + QPoint(20, 20)), Qt::white), 2);
        EXPECT_LE(Distance(picture.pixelColor(2, 2), Qt::white), 2);
    }
}

TEST_P(FormatTest, IsAsLargeAsItsResolutionWantsAndTellsIt)
{
    const QString format = GetParam();
    const QString sample = Sample();
    for (const int resolution : {30, 150, 200}) {
        const QImage picture = Render(sample, 1, resolution, format);
        EXPECT_EQ(picture.size(), SizeAt(resolution, {595, 842})) << resolution;
        if (format == "webp") {
            const QByteArray file = ReadFile(Path(QStringLiteral("out-%1.webp").arg(lastId - 1)));
            EXPECT_EQ(WebpResolution(file), qMakePair(double(resolution), double(resolution)));
        } else {
            EXPECT_NEAR(picture.dotsPerMeterX(), resolution * inchesPerMetre, 20);
            EXPECT_NEAR(picture.dotsPerMeterY(), resolution * inchesPerMetre, 20);
        }
    }
}

TEST_P(FormatTest, HasOneHundredAndFiftyDotsPerInchUnlessTold)
{
    const QString output = Path("out.") + GetParam();
    EXPECT_EQ(Outcome(Convert(Sample(), output, GetParam(), {{"page", 1}})), "ok");
    EXPECT_EQ(QImage(output).size(), SizeAt(150, {595, 842}));
}

TEST_P(FormatTest, IsWhatItsNameSays)
{
    const QString output = Path("out");
    EXPECT_EQ(Outcome(Convert(Sample(), output, GetParam(), {{"page", 1}})), "ok");
    EXPECT_FALSE(QImage(output, GetParam()).isNull());
    EXPECT_FALSE(QImage(output).hasAlphaChannel());
}

TEST_P(FormatTest, IsAsLargeAsFitsAndTellsTheResolutionThatComesOfIt)
{
    const QString sample = Sample();
    const QList<QPair<QSize, QSize>> fits{{{300, 300}, {212, 300}},
                                          {{300, 5000}, {300, 425}},
                                          {{595, 842}, {595, 842}},
                                          {{60000, 1200}, {848, 1200}}};
    for (const auto& [box, size] : fits) {
        const QImage picture =
            RenderAs(sample, GetParam(),
                     {{"size", QJsonArray{box.width(), box.height()}}, {"resolution", 20}});
        EXPECT_EQ(picture.size(), size) << box.width();
        const double dotsPerInch =
            72 * std::min(box.width() / 595.0, box.height() / 842.0); // of an A4 page
        if (GetParam() == std::string("webp")) {
            const QByteArray file = ReadFile(Path(QStringLiteral("out-%1.webp").arg(lastId - 1)));
            EXPECT_NEAR(WebpResolution(file).first, dotsPerInch, 0.1);
            EXPECT_NEAR(WebpResolution(file).second, dotsPerInch, 0.1);
        } else {
            EXPECT_NEAR(picture.dotsPerMeterX(), dotsPerInch * inchesPerMetre, 25);
            EXPECT_NEAR(picture.dotsPerMeterY(), dotsPerInch * inchesPerMetre, 25);
        }
    }
}

TEST_F(RenderTest, TellsTheResolutionOfAJpegAsFarAsThatCan)
{
    const auto dotsPerMetre = [this](double points) {
        MakePdfOfSize(Path("speck.pdf"), {points, points});
        return RenderAs(Path("speck.pdf"), "jpg", {{"size", QJsonArray{800, 800}}}).dotsPerMeterX();
    };
    EXPECT_NEAR(dotsPerMetre(0.9), 64'000 * inchesPerMetre, 100);
    EXPECT_NEAR(dotsPerMetre(0.72), 80'000 * inchesPerMetre, 100);
    EXPECT_EQ(dotsPerMetre(0.1), 65'535 * 100) << "the most for each centimetre";
}

TEST_P(FormatTest, IsGrayWhereThatIsWanted)
{
    const QString sample = Sample();
    const QColor gray = QColor::fromRgb(QRgb(GrayOf(SampleColour(1)) * 0x010101));
    const QImage picture = RenderAs(sample, GetParam(), {{"gray", true}, {"resolution", 72}});
    // A WebP always has colours, of which the rounding of its decoder leaves a trace.
    const bool isWebp = GetParam() == std::string("webp");
    EXPECT_EQ(picture.depth(), isWebp ? 32 : 8);
    EXPECT_LE(MostColour(picture), isWebp ? 1 : 0);
    EXPECT_LE(Distance(picture.pixelColor(samplePatch.center()), gray), 3);
    EXPECT_LE(Distance(picture.pixelColor(2, 2), Qt::white), 2);
    EXPECT_GT(MostColour(RenderAs(sample, GetParam(), {{"gray", false}})), 100);
}

TEST_P(FormatTest, HasTheQualityThatIsWantedWhereTheFormatHasAny)
{
    const QString sample = Sample();
    const auto bytes = [&](const QJsonObject& further) {
        RenderAs(sample, GetParam(), further);
        return ReadFile(Path(QStringLiteral("out-%1.").arg(lastId - 1) + GetParam()));
    };
    const bool lossy = GetParam() == std::string("jpg") || GetParam() == std::string("webp");
    const QByteArray usual = bytes({});
    EXPECT_EQ(bytes({{"quality", 90}}), usual);
    EXPECT_EQ(bytes({{"quality", 5}}).size() < usual.size(), lossy);
    EXPECT_EQ(bytes({{"quality", 99}}).size() > usual.size(), lossy);
}

TEST_F(RenderTest, KeepsAPixelOfAPageThatIsFittedToNothing)
{
    MakePdfOfSize(Path("long.pdf"), {20, 10'000});
    EXPECT_EQ(RenderAs(Path("long.pdf"), "png", {{"size", QJsonArray{100, 100}}}).size(),
              QSize(1, 100));
    EXPECT_EQ(RenderAs(Sample(), "png", {{"size", QJsonArray{1, 1}}}).size(), QSize(1, 1));
}

TEST_F(RenderTest, FitsARotatedPageAsItIsShown)
{
    MakeRotatedPdf(Path("rotated.pdf"));
    EXPECT_EQ(RenderAs(Path("rotated.pdf"), "png", {{"size", QJsonArray{300, 300}}}).size(),
              QSize(300, 212));
}

TEST_F(RenderTest, EnlargesASpeckOfAPage)
{
    MakePdfOfSize(Path("speck.pdf"), {0.001, 0.001});
    EXPECT_EQ(RenderAs(Path("speck.pdf"), "png", {{"size", QJsonArray{50, 60}}}).size(),
              QSize(50, 50));
}

TEST_F(RenderTest, RefusesToFitAPageIntoTooManyPixels)
{
    if (EngineUnderTest() != "qt")
        GTEST_SKIP() << "PDFium draws pictures of any size in bands";
    EXPECT_EQ(Outcome(Convert(Sample(), Path("out.png"), "png",
                              {{"page", 1}, {"size", QJsonArray{65'000, 65'000}}})),
              "cannot-render");
}

TEST_F(RenderTest, BlendsWhatIsTransparentWithWhite)
{
    const QString path = Path("transparent.pdf");
    {
        QPdfWriter writer(path);
        writer.setResolution(72);
        writer.setPageMargins(QMarginsF());
        QPainter(&writer).fillRect(100, 100, 100, 100, QColor(255, 0, 0, 128));
    }
    const QImage picture = Render(path);
    EXPECT_LE(Distance(picture.pixelColor(150, 150), QColor(255, 127, 127)), 2);
    EXPECT_EQ(picture.pixelColor(300, 300), QColor(Qt::white));
}

TEST_F(RenderTest, DrawsAnnotations)
{
    MakeAnnotatedPdf(Path("annotated.pdf"));
    const QImage picture = Render(Path("annotated.pdf"));
    EXPECT_LE(Distance(picture.pixelColor(sampleAnnotation.center()), sampleAnnotationColour), 2);
}

/** How many pixels of a part of a picture are darker than grey. */
int DarkPixels(const QImage& picture, const QRect& part)
{
    int dark = 0;
    for (int y = part.top(); y <= part.bottom(); ++y) {
        for (int x = part.left(); x <= part.right(); ++x)
            dark += qGray(picture.pixel(x, y)) < 128 ? 1 : 0;
    }
    return dark;
}

TEST_F(RenderTest, DrawsFormFields)
{
    EXPECT_EQ(DarkPixels(Render(Sample()), sampleField), 0);
    MakeFormPdf(Path("form.pdf"));
    const QImage picture = Render(Path("form.pdf"));
    EXPECT_GT(DarkPixels(picture, sampleField), 100);
    EXPECT_LE(Distance(picture.pixelColor(samplePatch.center()), SampleColour(1)), 2);
}

TEST_F(RenderTest, DrawsFormFieldsThatTheDocumentForgets)
{
    MakeFormPdf(Path("form.pdf"));
    QByteArray bytes = ReadFile(Path("form.pdf"));
    ASSERT_TRUE(bytes.contains("/NeedAppearances true"));
    bytes.replace("/NeedAppearances true", "/NeedAppearances null");
    EXPECT_GT(DarkPixels(Render(WriteFile("form.pdf", bytes)), sampleField), 100);
}

TEST_F(RenderTest, DrawsFormFieldsThatOnlyThePageLists)
{
    MakeFormPdf(Path("form.pdf"));
    QByteArray bytes = ReadFile(Path("form.pdf"));
    const auto listed = bytes.indexOf("/Fields [ ") + int(qstrlen("/Fields [ "));
    const auto end = bytes.indexOf(']', listed);
    ASSERT_GT(end, listed);
    bytes.replace(listed, end - listed, QByteArray(end - listed, ' '));
    EXPECT_GT(DarkPixels(Render(WriteFile("form.pdf", bytes)), sampleField), 100);
}

TEST_F(RenderTest, DrawsFormFieldsOfADocumentWithoutAForm)
{
    MakeAnnotatedPdf(Path("annotated.pdf"));
    QByteArray bytes = ReadFile(Path("annotated.pdf"));
    ASSERT_TRUE(bytes.contains("/Subtype /Square"));
    bytes.replace("/Subtype /Square", "/Subtype /Widget");
    const QImage picture = Render(WriteFile("field.pdf", bytes));
    EXPECT_LE(Distance(picture.pixelColor(sampleAnnotation.center()), sampleAnnotationColour), 2);
}

TEST_F(RenderTest, DrawsTheFormFieldsOfASavedCopy)
{
    MakeFormPdf(Path("form.pdf"));
    EXPECT_EQ(Outcome(Open(Path("form.pdf"))), "ok");
    EXPECT_EQ(Outcome(Save(Path("copy.pdf"))), "ok");
    EXPECT_GT(DarkPixels(Render(Path("copy.pdf")), sampleField), 100);
}

TEST_F(RenderTest, DrawsAnnotationsWithoutAppearanceInForms)
{
    MakeFormPdf(Path("form.pdf"));
    const QImage picture = Render(Path("form.pdf"));
    EXPECT_LE(Distance(picture.pixelColor(sampleAnnotation.center()), sampleAnnotationColour), 2);
}

TEST_F(RenderTest, TurnsARotatedPage)
{
    MakeRotatedPdf(Path("rotated.pdf"));
    const QImage picture = Render(Path("rotated.pdf"));
    ASSERT_EQ(picture.size(), QSize(842, 595));
    const QPoint patch(842 - samplePatch.center().y(), samplePatch.center().x());
    EXPECT_LE(Distance(picture.pixelColor(patch), SampleColour(1)), 2);
}

TEST_F(RenderTest, ShowsTheCropBoxAlone)
{
    MakeCroppedPdf(Path("cropped.pdf"), samplePatch.adjusted(-10, -20, 30, 40));
    const QImage picture = Render(Path("cropped.pdf"), 1, 144);
    ASSERT_EQ(picture.size(), 2 * (samplePatch.size() + QSize(40, 60)));
    const QRect patch(QPoint(20, 40), 2 * samplePatch.size());
    for (const QPoint inside : {patch.topLeft(), patch.bottomRight()}) {
        const QPoint inwards = (patch.center() - inside) / 20;
        EXPECT_LE(Distance(picture.pixelColor(inside + inwards), SampleColour(1)), 2);
        EXPECT_EQ(picture.pixelColor(inside - 2 * inwards), QColor(Qt::white));
    }
}

TEST_F(RenderTest, GivesScannedPagesTheirPixelsBack)
{
    const QList<std::tuple<QSizeF, double, QSize>> scans{{{595.2, 841.92}, 300, {2480, 3508}},
                                                         {{595.2, 841.92}, 150, {1240, 1754}},
                                                         {{419.76, 595.2}, 100, {583, 827}},
                                                         {{1247.04, 100}, 300, {5196, 417}}};
    for (const auto& [points, dotsPerInch, pixels] : scans) {
        MakePdfOfSize(Path("scan.pdf"), points);
        EXPECT_EQ(Render(Path("scan.pdf"), 1, dotsPerInch).size(), pixels) << points.width();
    }
}

TEST_F(RenderTest, RefusesPicturesThatAreTooLarge)
{
    MakePdfOfSize(Path("enormous.pdf"), {14'400, 14'400});
    EXPECT_EQ(RenderOutcome(Path("enormous.pdf"), 10), "ok");
    EXPECT_EQ(RenderOutcome(Path("enormous.pdf"), 330), "cannot-render");
    EXPECT_EQ(RenderOutcome(Path("enormous.pdf"), 85),
              EngineUnderTest() == "qt" ? "cannot-render" : "ok");
    MakePdfOfSize(Path("long.pdf"), {20, 100'000});
    EXPECT_EQ(RenderOutcome(Path("long.pdf"), 36), "ok");
    EXPECT_EQ(RenderOutcome(Path("long.pdf"), 72), "cannot-render");
}

TEST_F(RenderTest, RefusesPicturesThatAreTooLargeForTheirFormat)
{
    MakePdfOfSize(Path("wide.pdf"), {17'000, 20});
    EXPECT_EQ(RenderOutcome(Path("wide.pdf"), 72, "png"), "ok");
    EXPECT_EQ(RenderOutcome(Path("wide.pdf"), 72, "jpg"), "ok");
    EXPECT_EQ(RenderOutcome(Path("wide.pdf"), 72, "webp"), "cannot-render");
}

TEST_F(RenderTest, TakesAPageOfNoSizeForALetter)
{
    MakePdfOfSize(Path("none.pdf"), {0, 0});
    EXPECT_EQ(Render(Path("none.pdf")).size(), QSize(612, 792));
}

TEST_F(RenderTest, DrawsAPageThatIsThinnerThanAPixel)
{
    MakePdfOfSize(Path("thin.pdf"), {0.1, 50});
    EXPECT_EQ(Render(Path("thin.pdf")).size(), QSize(1, 50));
}

TEST_F(RenderTest, DrawsARepairedDocument)
{
    const QString sample = Sample(2);
    BreakCrossReferences(sample);
    EXPECT_LE(Distance(Render(sample, 2).pixelColor(samplePatch.center()), SampleColour(2)), 2);
}

TEST_F(RenderTest, CopiesADocument)
{
    EXPECT_EQ(Outcome(Convert(Sample(3), Path("out.pdf"), "pdf")), "ok");
    EXPECT_EQ(Open(Path("out.pdf"))["pages"].toInt(), 3);
    EXPECT_TRUE(ReadFile(Path("out.pdf")).startsWith("%PDF-1.4"));
}

TEST_F(RenderTest, NoticesThatAFileHasBeenReplaced)
{
    const QString file = Sample(2);
    EXPECT_EQ(Render(file, 2).size(), QSize(595, 842));
    MakeRotatedPdf(Path("other.pdf"));
    ASSERT_TRUE(QFile::remove(file) && QFile::rename(Path("other.pdf"), file));
    EXPECT_EQ(Render(file, 1).size(), QSize(842, 595));
    EXPECT_EQ(Outcome(Convert(file, Path("out.png"), "png", {{"page", 2}})), "no-such-page");
    ASSERT_TRUE(QFile::remove(file));
    EXPECT_EQ(Outcome(Convert(file, Path("out.png"), "png", {{"page", 1}})), "unreadable");
}

#if !IS_SANITIZED

class MemoryTest : public RenderTest
{
protected:
    /** What a worker of a memory limit, in MiB, makes of a request for the first page. */
    std::string Outcome(int limit, const QString& file, const QString& format, double dotsPerInch,
                        const QString& compression = "fast")
    {
        const QString output = Path("out." + format);
        WorkerClient limited(QStringLiteral("set -- --memory-limit %1").arg(limit));
        const std::string outcome = Worker::Outcome(limited.Ask({{"id", 1},
                                                                 {"op", "convert"},
                                                                 {"file", file},
                                                                 {"output", output},
                                                                 {"format", format},
                                                                 {"page", 1},
                                                                 {"resolution", dotsPerInch},
                                                                 {"compression", compression}}));
        const int exitCode = limited.Finish();
        EXPECT_EQ(QFile::remove(output), outcome == "ok");
        return exitCode == 77 && outcome == "nothing" ? "out of memory" : outcome;
    }
};

TEST_F(MemoryTest, HasTheLimitOfTheArgumentOrALowerOne)
{
    QFile file(WriteFile("large.pdf", "%PDF-1.7\n"));
    ASSERT_TRUE(file.open(QFile::ReadWrite) && file.resize(qint64(1) << 30)); // in holes
    EXPECT_EQ(Outcome(600, Sample(), "png", 72), "ok");
    EXPECT_EQ(Outcome(600, file.fileName(), "pdf", 72), "out of memory");
    WorkerClient poor("ulimit -v 600000; set -- --memory-limit 4096");
    EXPECT_EQ(Worker::Outcome(poor.Ask({{"id", 1},
                                        {"op", "convert"},
                                        {"file", file.fileName()},
                                        {"output", Path("out.pdf")},
                                        {"format", "pdf"}})),
              "nothing");
    EXPECT_EQ(poor.Finish(), 77);
    EXPECT_FALSE(QFile::exists(Path("out.pdf")));
}

TEST_F(MemoryTest, IsEnoughForAPictureThatIsDrawnInBands)
{
    MakePdfOfSize(Path("enormous.pdf"), {14'400, 14'400});
    EXPECT_EQ(Outcome(200, Path("enormous.pdf"), "png", 70),
              EngineUnderTest() == "qt" ? "out of memory" : "ok");
}

TEST_F(MemoryTest, IsTooSmallForAPictureOnThePage)
{
    const int side = 4000;
    const QByteArray black = qCompress(QByteArray(side * side * 6, '0') + '>').mid(4);
    const QString file = WriteFile(
        "picture.pdf",
        PdfOf(
            {"<< /Type /Catalog /Pages 2 0 R >>", "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
             "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 99 99] /Contents 4 0 R "
             "/Resources << /XObject << /Picture 5 0 R >> >> >>",
             PdfStream("99 0 0 99 0 0 cm /Picture Do"),
             PdfStream(black,
                       "/Type /XObject /Subtype /Image /Width 4000 /Height 4000 /ColorSpace "
                       "/DeviceRGB /BitsPerComponent 8 /Filter [/FlateDecode /ASCIIHexDecode]")}));
    EXPECT_EQ(Outcome(160, file, "png", 72), "out of memory");
    EXPECT_EQ(Render(file).pixelColor(50, 50), QColor(Qt::black));
}

TEST_F(MemoryTest, HoldsASmallPngInTheMakingBesideThePictureOnly)
{
    const QString file = WriteFile(
        "coloured.pdf",
        PdfOf({"<< /Type /Catalog /Pages 2 0 R >>", "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
               "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 600 600] /Contents 4 0 R >>",
               PdfStream("1 0 0 rg 100 100 400 400 re f")}));
    // 137 MiB of pixels and 103 MiB of rows, beside about 100 MiB that all pages take.
    EXPECT_EQ(Outcome(390, file, "png", 720, "small"), "ok");
}

class MemoryOfFormatTest : public MemoryTest, public testing::WithParamInterface<const char*>
{
};

INSTANTIATE_TEST_SUITE_P(Formats, MemoryOfFormatTest,
                         testing::Values("png", "jpg", "tif", "bmp", "webp"));

TEST_P(MemoryOfFormatTest, IsEnoughOrEndsTheWorkerWhereverItRunsOut)
{
    const QString sample = Sample();
    int limit = 64;
    std::string outcome = Outcome(limit, sample, GetParam(), 200);
    EXPECT_EQ(outcome, "out of memory");
    for (; outcome == "out of memory"; limit += 4)
        outcome = Outcome(limit, sample, GetParam(), 200);
    EXPECT_EQ(outcome, "ok") << limit;
}

#endif

TEST_F(RenderTest, PutsAllPagesOfADocumentIntoOneTiff)
{
    const QString sample = Sample(3);
    const QString output = Path("all.tif");
    const QJsonObject answer = Convert(sample, output, "tif", {{"resolution", 72}});
    EXPECT_EQ(Outcome(answer), "ok");
    EXPECT_FALSE(answer.contains("failed"));
    QImageReader reader(output);
    ASSERT_EQ(reader.imageCount(), 3);
    for (const int page : {1, 2, 3}) {
        EXPECT_EQ(reader.read().pixelColor(samplePatch.center()).rgb(), SampleColour(page).rgb());
        reader.jumpToNextImage();
    }
}

TEST_F(RenderTest, PutsThePagesThatAreNamedIntoOneTiff)
{
    const QString sample = Sample(3);
    const QString output = Path("two.tif");
    EXPECT_EQ(Outcome(Convert(sample, output, "tif",
                              {{"pages", QJsonArray{3, 1}}, {"resolution", 72}, {"gray", true}})),
              "ok");
    QImageReader reader(output);
    ASSERT_EQ(reader.imageCount(), 2);
    EXPECT_TRUE(reader.read().allGray());
    EXPECT_EQ(Outcome(Convert(sample, Path("none.tif"), "tif", {{"pages", QJsonArray{1, 4}}})),
              "no-such-page");
    EXPECT_FALSE(QFile::exists(Path("none.tif")));
}

TEST_F(RenderTest, TellsWhichPagesATiffLacks)
{
    const QString sample = Sample(2);
    const QString output = Path("some.tif");
    QJsonObject members{{"crop", QJsonArray{700, 0, 50, 50}}, {"resolution", 72}};
    const QJsonObject none = Convert(sample, output, "tif", members);
    EXPECT_EQ(Outcome(none), "cannot-render");
    EXPECT_EQ(none["message"].toString().toStdString(),
              "page 1: the part that is wanted lies outside of its crop box");
    EXPECT_FALSE(QFile::exists(output));
    MakePagesOfSizes(Path("sizes.pdf"), {{100, 100}, {800, 100}, {100, 100}, {900, 100}});
    const QJsonObject answer = Convert(Path("sizes.pdf"), output, "tif", members);
    EXPECT_EQ(Outcome(answer), "ok");
    const QJsonArray failed = answer["failed"].toArray();
    ASSERT_EQ(failed.size(), 2);
    EXPECT_EQ(failed[0].toObject()["page"], 1);
    EXPECT_EQ(failed[1].toObject()["page"], 3);
    EXPECT_EQ(failed[1].toObject()["reason"], "cannot-render");
    QImageReader reader(output);
    EXPECT_EQ(reader.imageCount(), 2);
}

} // namespace
} // namespace Korvel::Worker
