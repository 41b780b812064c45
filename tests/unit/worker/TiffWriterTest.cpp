#include "TiffWriter.h"
#include "TestPicture.h"

#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include <QBuffer>
#include <QImageReader>

namespace Korvel::Worker {
namespace {

using Test::Noise;
using Test::RowsOf;
using Test::Shades;
using Test::ShapeOf;

std::vector<QImage> Pictures()
{
    return {Shades({301, 200}, QImage::Format_RGB32), Noise({50, 70}, QImage::Format_Grayscale8),
            Noise({1'300, 1'200}, QImage::Format_RGB32), // of more than a strip
            Shades({1, 1}, QImage::Format_RGB32)};
}

/** What Qt reads of a TIFF. */
std::vector<QImage> Read(const MemoryOutput& file)
{
    QByteArray bytes = QByteArray::fromStdString(file.Bytes());
    QBuffer buffer(&bytes);
    QImageReader reader(&buffer, "tiff");
    std::vector<QImage> pictures;
    for (int i = 0; i < reader.imageCount(); ++i) {
        EXPECT_TRUE(i == 0 || reader.jumpToImage(i));
        pictures.push_back(reader.read());
    }
    return pictures;
}

void ExpectSame(const std::vector<QImage>& read, const std::vector<QImage>& written)
{
    ASSERT_EQ(read.size(), written.size());
    for (std::size_t i = 0; i < read.size(); ++i)
        EXPECT_EQ(read[i].convertToFormat(written[i].format()), written[i]) << i;
}

TEST(TiffWriterTest, WritesPicturesOfEveryKindOneAfterAnother)
{
    const std::vector<QImage> pictures = Pictures();
    for (const bool isBig : {false, true}) {
        MemoryOutput file;
        TiffWriter tiff(file, isBig);
        for (const QImage& picture : pictures)
            tiff.Add(ShapeOf(picture), RowsOf(picture, 100));
        EXPECT_EQ(file.Bytes().substr(0, 4), std::string(isBig ? "II\x2b\0" : "II\x2a\0", 4));
        ExpectSame(Read(file), pictures);
    }
}

/** Gives the rows before `end`, and no others. */
DrawRows RowsUpTo(int end, const QImage& picture)
{
    return [end, draw = RowsOf(picture, 1)](int first) {
        return first < end ? draw(first) : throw std::out_of_range("no more rows");
    };
}

TEST(TiffWriterTest, LeavesAwayAPictureThatCannotBeDrawn)
{
    const std::vector<QImage> pictures = Pictures();
    for (std::size_t failing = 0; failing < pictures.size(); ++failing) {
        MemoryOutput file;
        TiffWriter tiff(file, false);
        std::vector<QImage> others;
        for (std::size_t i = 0; i < pictures.size(); ++i) {
            const QImage& picture = pictures[i];
            if (i == failing) {
                EXPECT_THROW(tiff.Add(ShapeOf(picture), RowsUpTo(0, picture)), std::out_of_range);
                continue;
            }
            tiff.Add(ShapeOf(picture), RowsOf(picture));
            others.push_back(picture);
        }
        EXPECT_TRUE(tiff.IsWhole());
        ExpectSame(Read(file), others);
    }
}

TEST(TiffWriterTest, IsNotWholeWhereAPictureIsNotDrawnToItsEnd)
{
    const QImage picture = Shades({301, 200}, QImage::Format_RGB32);
    MemoryOutput file;
    TiffWriter tiff(file, false);
    tiff.Add(ShapeOf(picture), RowsOf(picture));
    EXPECT_THROW(tiff.Add(ShapeOf(picture), RowsUpTo(199, picture)), std::out_of_range);
    EXPECT_FALSE(tiff.IsWhole());
}

TEST(TiffWriterTest, WantsABigTiffBeyondFourGigabytes)
{
    const std::uint64_t four = std::uint64_t(4) << 30;
    EXPECT_FALSE(TiffWriter::WantsBig(four));
    EXPECT_TRUE(TiffWriter::WantsBig(four + 1));
}

TEST(TiffWriterTest, KnowsHowLargeWhatCannotBePackedBecomes)
{
    QImage stripes(1'000, 1'000, QImage::Format_Grayscale8);
    for (int y = 0; y < stripes.height(); ++y) {
        for (int x = 0; x < stripes.width(); ++x)
            stripes.scanLine(y)[x] = uchar((x + y) % 2 * 255);
    }
    PictureShape shape = ShapeOf(stripes);
    shape.isBilevel = true;
    MemoryOutput faxed;
    TiffWriter(faxed, false).Add(shape, RowsOf(stripes));
    EXPECT_GT(faxed.Size(), 1'000U * 1'000 / 8);
    EXPECT_LE(faxed.Size(), TiffWriter::MostBytes(shape) + 1'000);
    const QImage noise = Noise({1'000, 1'000}, QImage::Format_RGB32);
    MemoryOutput packed;
    TiffWriter(packed, false).Add(ShapeOf(noise), RowsOf(noise));
    EXPECT_GT(packed.Size(), 3'000'000U);
    EXPECT_LE(packed.Size(), TiffWriter::MostBytes(ShapeOf(noise)) + 1'000);
}

} // namespace
} // namespace Korvel::Worker
