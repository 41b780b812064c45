#include "RequestError.h"
#include "TestPicture.h"

#include <gtest/gtest.h>
#include <QBuffer>
#include <QImageWriter>
#include <QtEndian>

namespace Korvel::Worker {
namespace {

using Test::Noise;
using Test::RowsOf;
using Test::Shades;
using Test::ShapeOf;
using Test::Written;

const auto bothFormats = {QImage::Format_RGB32, QImage::Format_Grayscale8};

std::vector<QImage> Pictures()
{
    std::vector<QImage> pictures;
    for (const auto format : bothFormats) {
        for (const QSize size : {QSize(1, 1), QSize(2, 3), QSize(17, 1), QSize(33, 65),
                                 QSize(301, 257), QSize(5'000, 3), QSize(3, 5'000)}) {
            pictures.push_back(Noise(size, format));
            pictures.push_back(Shades(size, format));
        }
        pictures.push_back(QImage(400, 300, format));
        pictures.back().fill(Qt::white);
    }
    return pictures;
}

/** By Qt's own writer. */
QByteArray WrittenByQt(QImage picture, const Encoding& encoding, double dotsPerInch)
{
    const int dotsPerMetre = qRound(dotsPerInch / 0.0254);
    picture.setDotsPerMeterX(dotsPerMetre);
    picture.setDotsPerMeterY(dotsPerMetre);
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, encoding.format.toLatin1());
    if (encoding.format == "tif")
        writer.setCompression(1); // LZW
    else
        writer.setQuality(encoding.quality);
    EXPECT_TRUE(writer.write(picture)) << writer.errorString().toStdString();
    return buffer.data();
}

std::string Told(const QImage& picture, const Encoding& encoding, double dotsPerInch)
{
    return encoding.format.toStdString() + " " + std::to_string(picture.width()) + "x" +
           std::to_string(picture.height()) + " of format " + std::to_string(picture.format()) +
           ", quality " + std::to_string(encoding.quality) + ", " + std::to_string(dotsPerInch) +
           " dots per inch";
}

/** Of a WebP: the data that are a picture. */
QByteArray PixelsOf(const QByteArray& webp)
{
    const QByteArray kind = webp.contains("VP8L") ? "VP8L" : "VP8 ";
    const auto begin = webp.indexOf(kind) + 8;
    const auto size = qFromLittleEndian<quint32>(webp.constData() + begin - 4);
    return webp.mid(begin, int(size));
}

class FormatTest : public testing::TestWithParam<Encoding>
{
};

constexpr bool isQt5 = QT_VERSION_MAJOR == 5;

void RequireFileOfQt(const QImage& picture, const Encoding& encoding, double dotsPerInch)
{
    const QByteArray ours = Written(picture, encoding, dotsPerInch);
    const QByteArray theirs = WrittenByQt(picture, encoding, dotsPerInch);
    if (encoding.format == "webp") // into which Qt writes no resolution
        EXPECT_TRUE(PixelsOf(ours) == PixelsOf(theirs)) << Told(picture, encoding, dotsPerInch);
    else if (encoding.format == "tif" && picture.format() == QImage::Format_Grayscale8 && !isQt5)
        EXPECT_EQ(QImage::fromData(ours), QImage::fromData(theirs)); // with a tag more by Qt 6
    else
        EXPECT_TRUE(ours == theirs) << Told(picture, encoding, dotsPerInch);
}

TEST_P(FormatTest, MakesTheFileThatQtMakes)
{
    for (const QImage& picture : Pictures())
        RequireFileOfQt(picture, GetParam(), 150);
}

TEST_P(FormatTest, MakesTheFileThatQtMakesAtAnyResolution)
{
    for (const double dotsPerInch :
         {1.0, 33.3, 72.0, 118.11, 119.38, 299.72, 300.0, 1666.0, 4800.0})
        RequireFileOfQt(Shades({33, 65}, QImage::Format_RGB32), GetParam(), dotsPerInch);
}

TEST_P(FormatTest, MakesTheSameFileWhereRowsComeInPieces)
{
    for (const QImage& picture : Pictures()) {
        const QByteArray atOnce = Written(picture, GetParam());
        for (const int rowsAtOnce : {1, 7, 64, 100})
            EXPECT_TRUE(Written(picture, GetParam(), 150, rowsAtOnce) == atOnce)
                << Told(picture, GetParam(), 150) << ", " << rowsAtOnce << " rows at once";
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, FormatTest,
                         testing::Values(Encoding{"jpg", 1}, Encoding{"jpg", 50},
                                         Encoding{"jpg", 90}, Encoding{"jpg", 100}, Encoding{"tif"},
                                         Encoding{"bmp"}, Encoding{"webp", 1}, Encoding{"webp", 90},
                                         Encoding{"webp", 100}),
                         [](const auto& row) {
                             return row.param.format.toStdString() +
                                    std::to_string(row.param.quality);
                         });

/** What is said of a picture that is too large; nothing may be drawn. */
std::string Refusal(const char* format, int width, int height)
{
    MemoryOutput file;
    try {
        WritePicture(file, {width, height, PixelFormat::Bgrx, 600}, {format}, [](int) -> Rows {
            ADD_FAILURE() << "is drawn";
            throw std::bad_alloc();
        });
    } catch (const RequestError& error) {
        EXPECT_EQ(error.reason, Reason::CannotRender);
        return error.what();
    }
    return "nothing";
}

TEST(WritePictureTest, SaysWhatFitsWhereASideIsTooLongForTheFormat)
{
    EXPECT_EQ(Refusal("webp", 100, 16'384),
              "a WebP has at most 16383 pixels a side, and the page would have 16384; it fits at "
              "599 dots per inch");
    EXPECT_EQ(Refusal("jpg", 131'000, 1),
              "a JPEG has at most 65500 pixels a side, and the page would have 131000; it fits at "
              "300 dots per inch");
    EXPECT_EQ(Refusal("png", 2'147'483'647, 1),
              "a PNG has at most 715827881 pixels a side, and the page would have 2147483647; it "
              "fits at 199 dots per inch");
    EXPECT_EQ(Refusal("bmp", 40'000, 40'000),
              "a BMP has at most 4 GB, which the page would exceed; a lower resolution or another "
              "format serves");
}

/** The beginning of a large picture, of which some rows are drawn. */
std::string BeginningOf(const char* format, int side, PixelFormat pixels)
{
    const std::vector<unsigned char> row(std::size_t(side) * 4);
    MemoryOutput file;
    int drawn = 0;
    EXPECT_THROW(WritePicture(file, {side, side, pixels, 1200}, {format},
                              [&](int) {
                                  if (++drawn == 300)
                                      throw std::runtime_error("enough");
                                  return Rows{row.data(), 0, 1};
                              }),
                 std::runtime_error);
    return file.Bytes();
}

TEST(WritePictureTest, MakesABigTiffWhereItMayExceedFourGigabytes)
{
    const std::string classic("II\x2a\0", 4);
    const std::string big("II\x2b\0", 4);
    EXPECT_EQ(BeginningOf("tif", 50'000, PixelFormat::Gray).substr(0, 4), classic);
    EXPECT_EQ(BeginningOf("tif", 50'000, PixelFormat::Bgrx).substr(0, 4), big);
}

TEST(WritePictureTest, PassesOnWhyAPictureIsNotDrawnOrWritten)
{
    class FullDisk : public MemoryOutput
    {
    public:
        void Write(const char*, std::size_t) override
        {
            throw RequestError(Reason::CannotWrite, "the disk is full");
        }
        void WriteAt(std::uint64_t, const char* data, std::size_t size) override
        {
            Write(data, size);
        }
    };
    const QImage picture = Noise({300, 300}, QImage::Format_RGB32);
    for (const char* const format : {"png", "jpg", "tif", "bmp", "webp"}) {
        FullDisk full;
        EXPECT_THROW(WritePicture(full, ShapeOf(picture), {format}, RowsOf(picture)), RequestError)
            << format;
        MemoryOutput file;
        EXPECT_THROW(WritePicture(file, ShapeOf(picture), {format},
                                  [](int) -> Rows { throw std::out_of_range("no rows"); }),
                     std::out_of_range)
            << format;
    }
}

} // namespace
} // namespace Korvel::Worker
