// The engines beside each other: what one makes of a page, the other does.

#include "PdfiumEngine.h"
#include "PdfiumLibrary.h"
#include "QtPdfEngine.h"
#include "SamplePdf.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include <gtest/gtest.h>

#include <QFile>
#include <QImage>
#include <QTemporaryDir>

namespace Korvel::Worker {
namespace {

const std::optional<PdfiumLibrary>& Library()
{
    static const std::optional<PdfiumLibrary> library = LoadPdfium({});
    return library;
}

#define SKIP_WITHOUT_PDFIUM()                                                                      \
    if (!Library())                                                                                \
    GTEST_SKIP() << "there is no PDFium on this machine"

std::unique_ptr<PageEngine> Make(const std::string& name)
{
    if (name == "qt")
        return std::make_unique<QtPdfEngine>();
    return std::make_unique<PdfiumEngine>(Library()->functions);
}

PictureShape Shape(int width, int height, PixelFormat pixels = PixelFormat::Bgrx)
{
    PictureShape shape;
    shape.width = width;
    shape.height = height;
    shape.pixels = pixels;
    return shape;
}

/** The rows that an engine draws, asked for from top to bottom. */
QImage Drawn(PageEngine& engine, int page, const PictureShape& shape)
{
    const bool isGray = shape.pixels == PixelFormat::Gray;
    QImage picture(shape.width, shape.height,
                   isGray ? QImage::Format_Grayscale8 : QImage::Format_RGB32);
    const DrawRows draw = engine.Draw(page, shape);
    for (int row = 0; row < shape.height;) {
        const Rows rows = draw(row);
        for (int i = 0; i < rows.count; ++i)
            std::copy_n(rows.first + i * rows.stride, shape.width * (isGray ? 1 : 4),
                        picture.scanLine(row + i));
        row += rows.count;
    }
    return isGray ? picture : picture.convertToFormat(QImage::Format_RGB888);
}

bool IsLike(const QColor& a, const QColor& b)
{
    return std::abs(a.red() - b.red()) <= 3 && std::abs(a.green() - b.green()) <= 3 &&
           std::abs(a.blue() - b.blue()) <= 3;
}

/** How far apart two pictures of one size are where they differ most. */
int Farthest(const QImage& a, const QImage& b)
{
    int most = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x)
            most = std::max(most, std::abs(qGreen(a.pixel(x, y)) - qGreen(b.pixel(x, y))));
    }
    return most;
}

/** The share of pixels that differ by more than a shade. */
double Difference(const QImage& a, const QImage& b)
{
    int different = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x)
            different += std::abs(qGray(a.pixel(x, y)) - qGray(b.pixel(x, y))) > 24 ? 1 : 0;
    }
    return double(different) / (double(a.width()) * a.height());
}

class EngineTest : public testing::TestWithParam<const char*>
{
protected:
    void SetUp() override
    {
        if (GetParam() == std::string("pdfium"))
            SKIP_WITHOUT_PDFIUM();
    }

    QString Path(const QString& name) const { return folder.filePath(name); }

    /** An engine that has opened a sample, or what `make` makes. */
    template <typename Make>
    std::unique_ptr<PageEngine> Opened(const Make& make)
    {
        make(Path("document.pdf"));
        auto engine = Worker::Make(GetParam());
        EXPECT_TRUE(engine->Open(Path("document.pdf").toStdString()));
        return engine;
    }

    std::unique_ptr<PageEngine> Sample(int pages = 1)
    {
        return Opened([pages](const QString& path) { MakeSamplePdf(path, pages); });
    }

    QTemporaryDir folder;
};

INSTANTIATE_TEST_SUITE_P(Engines, EngineTest, testing::Values("pdfium", "qt"));

TEST_P(EngineTest, OpensAFileAndMemoryAlike)
{
    const auto fromFile = Sample(3);
    QFile file(Path("document.pdf"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const auto fromMemory = Make(GetParam());
    ASSERT_TRUE(fromMemory->Open(file.readAll()));
    for (const auto& engine : {fromFile.get(), fromMemory.get()}) {
        EXPECT_EQ(engine->PageCount(), 3);
        EXPECT_EQ(engine->PageSize(1), QSizeF(595, 842));
        EXPECT_TRUE(IsLike(Drawn(*engine, 2, Shape(595, 842)).pixelColor(samplePatch.center()),
                           SampleColour(3)));
    }
}

TEST_P(EngineTest, OpensNothingThatIsNoDocument)
{
    EXPECT_FALSE(Make(GetParam())->Open(Path("missing.pdf").toStdString()));
    EXPECT_FALSE(Make(GetParam())->Open(QByteArray("no document")));
}

TEST_P(EngineTest, DrawsGrayFromTheStart)
{
    const auto engine = Sample();
    const QImage gray = Drawn(*engine, 0, Shape(595, 842, PixelFormat::Gray));
    const QColor patch = SampleColour(1);
    const double brightness = 0.299 * patch.red() + 0.587 * patch.green() + 0.114 * patch.blue();
    EXPECT_NEAR(qGray(gray.pixel(samplePatch.center())), brightness, 6);
    EXPECT_EQ(gray.pixelColor(1, 1), QColor(Qt::white));
    EXPECT_LT(Difference(gray, Drawn(*engine, 0, Shape(595, 842))), 0.01); // of letters
}

TEST_P(EngineTest, DrawsPagesInAnyOrderAndOverAgain)
{
    const auto engine = Sample(4);
    for (const int page : {2, 0, 0, 3, 1, 2}) {
        EXPECT_TRUE(IsLike(Drawn(*engine, page, Shape(595, 842)).pixelColor(samplePatch.center()),
                           SampleColour(page + 1)))
            << page;
    }
}

TEST_P(EngineTest, DrawsMorePagesThanItKeepsADocumentOpenFor)
{
    const QByteArray page = "<</Type/Page/Parent 2 0 R/MediaBox[0 0 9 9]/Contents ";
    const QByteArray pdf =
        PdfOf({"<</Type/Catalog/Pages 2 0 R>>", "<</Type/Pages/Kids[3 0 R 4 0 R]/Count 2>>",
               page + "5 0 R>>", page + "6 0 R>>", PdfStream("1 0 0 rg 0 0 9 9 re f"),
               PdfStream("0 0 1 rg 0 0 9 9 re f")});
    const auto fromFile = Opened([&pdf](const QString& path) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(pdf) == pdf.size());
    });
    const auto fromMemory = Make(GetParam());
    ASSERT_TRUE(fromMemory->Open(pdf));
    for (const auto& engine : {fromFile.get(), fromMemory.get()}) {
        for (int drawn = 0; drawn < 1100; ++drawn) {
            const QColor color = Drawn(*engine, drawn % 2, Shape(9, 9)).pixelColor(4, 4);
            ASSERT_TRUE(IsLike(color, drawn % 2 == 0 ? Qt::red : Qt::blue)) << drawn;
        }
    }
}

TEST_P(EngineTest, GivesRowsOverAgainWhereTheyAreAskedForOnceMore)
{
    const auto engine = Sample();
    const DrawRows draw = engine->Draw(0, Shape(595, 842));
    const auto center = [&draw] {
        const Rows rows = draw(samplePatch.center().y());
        const unsigned char* const pixel = rows.first + 4 * samplePatch.center().x();
        return QColor(pixel[2], pixel[1], pixel[0]);
    };
    const QColor before = center();
    EXPECT_TRUE(IsLike(before, SampleColour(1)));
    EXPECT_EQ(draw(841).count, 1);
    EXPECT_EQ(draw(0).first[0], 0xff);
    EXPECT_EQ(center(), before);
}

TEST_P(EngineTest, TurnsAPageAndCropsIt)
{
    EXPECT_EQ(Opened(MakeRotatedPdf)->PageSize(0), QSizeF(842, 595));
    const auto cropped = Opened(
        [](const QString& path) { MakeCroppedPdf(path, samplePatch.adjusted(-9, 0, 0, 0)); });
    EXPECT_EQ(cropped->PageSize(0), QSizeF(samplePatch.width() + 9, samplePatch.height()));
}

TEST_P(EngineTest, TellsTheTextInItsOwnOrder)
{
    const QString text = Sample(2)->Text(1);
    EXPECT_TRUE(text.startsWith("Page 2\r\n")) << text.toStdString();
}

class PdfiumEngineTest : public EngineTest
{
};

INSTANTIATE_TEST_SUITE_P(Engines, PdfiumEngineTest, testing::Values("pdfium"));

TEST_P(PdfiumEngineTest, DrawsInBandsWhatItDrawsAsAWhole)
{
    const auto whole = Sample();
    for (const PixelFormat pixels : {PixelFormat::Bgrx, PixelFormat::Gray}) {
        const PictureShape shape = Shape(1000, 1415, pixels);
        for (const int bytesABand : {1, 4'000, 100'000}) {
            PdfiumEngine banded(Library()->functions, std::size_t(bytesABand));
            ASSERT_TRUE(banded.Open(Path("document.pdf").toStdString()));
            EXPECT_LE(Farthest(Drawn(banded, 0, shape), Drawn(*whole, 0, shape)), 4) << bytesABand;
        }
    }
}

TEST_P(PdfiumEngineTest, DrawsAsManyPagesAsItIsAskedFor)
{
    const auto engine = Sample(2);
    const PictureShape shape = Shape(60, 84);
    const QImage pictures[] = {Drawn(*engine, 0, shape), Drawn(*engine, 1, shape)};
    ASSERT_NE(pictures[0], pictures[1]);
    for (int i = 0; i < 1200; ++i)
        ASSERT_EQ(Drawn(*engine, i % 2, shape), pictures[i % 2]) << i;
    EXPECT_EQ(engine->PageCount(), 2);
}

TEST_P(PdfiumEngineTest, TellsWhereEachCharacterStands)
{
    const auto engine = Sample();
    const DrawnCharacters drawn = engine->Characters(0, true);
    const std::vector<TextCharacter>& characters = drawn.characters;
    const QString text = engine->Text(0);
    ASSERT_GE(characters.size(), 6U);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(characters[std::size_t(i)].code, text[i].unicode());
    const QRectF page(0, 0, 595, 842);
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_TRUE(page.contains(characters[i].box));
        EXPECT_GT(characters[i].fontSize, 1);
        EXPECT_NEAR(characters[i + 1].box.left(), characters[i].box.right(),
                    characters[i].fontSize / 8);
        EXPECT_TRUE(characters[i].box.contains(characters[i].origin + QPointF(0.1, -0.1)));
        EXPECT_EQ(characters[i].turned, 0);
        EXPECT_NE(drawn.fonts.at(std::size_t(characters[i].font)).find("DejaVu"),
                  std::string::npos);
    }
    EXPECT_TRUE(engine->Characters(0, false).fonts.empty());
}

TEST_P(PdfiumEngineTest, PutsCharactersOfARotatedPageWhereTheyAreShown)
{
    const auto upright = Sample()->Characters(0, false).characters;
    const auto rotated = Opened(MakeRotatedPdf)->Characters(0, false).characters;
    ASSERT_EQ(rotated.size(), upright.size());
    const QPointF before = upright[0].box.center();
    const QPointF after = rotated[0].box.center();
    EXPECT_NEAR(after.x(), 842 - before.y(), 0.5);
    EXPECT_NEAR(after.y(), before.x(), 0.5);
    EXPECT_EQ(rotated[0].turned, 90);
}

TEST_P(PdfiumEngineTest, DrawsAPageMuchAsQtPdfDoes)
{
    const auto engine = Sample();
    QtPdfEngine other;
    ASSERT_TRUE(other.Open(Path("document.pdf").toStdString()));
    const PictureShape shape = Shape(1240, 1754);
    EXPECT_LT(Difference(Drawn(*engine, 0, shape), Drawn(other, 0, shape)), 0.002);
    EXPECT_EQ(engine->Text(0), other.Text(0));
}

TEST(PdfiumLibraryTest, IsTheOneThatIsNamedOrNone)
{
    SKIP_WITHOUT_PDFIUM();
    const std::string file = Library()->file;
    EXPECT_EQ(LoadPdfium(file)->file, file);
    EXPECT_FALSE(LoadPdfium("/nowhere/libpdfium.so"));
    ::setenv("PDFCONVERT_PDFIUM", "/nowhere/libpdfium.so", 1);
    EXPECT_FALSE(LoadPdfium({}));
    EXPECT_EQ(LoadPdfium(file)->file, file);
    ::unsetenv("PDFCONVERT_PDFIUM");
    EXPECT_TRUE(LoadPdfium({}));
}

TEST(PdfiumLibraryTest, CountsAsMissingWhereAFunctionIs)
{
    EXPECT_FALSE(LoadPdfium(PDFIUM_THAT_LACKS_A_FUNCTION));
}

TEST(PdfiumLibraryTest, CountsAsMissingWhereItDrawsWrong)
{
    EXPECT_FALSE(LoadPdfium(PDFIUM_THAT_DRAWS_NOTHING));
}

} // namespace
} // namespace Korvel::Worker
