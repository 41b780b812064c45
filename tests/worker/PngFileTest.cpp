#include "PngFile.h"

#include <random>

#include <gtest/gtest.h>

namespace Korvel::Worker {
namespace {

constexpr auto bothCompressions = {Compression::Fast, Compression::Small};

/** Decoded by Qt, which shares no code with the encoder. */
QImage Decoded(const QByteArray& png)
{
    QImage picture;
    EXPECT_TRUE(picture.loadFromData(png, "png"));
    return picture;
}

/** Every pixel another, which no compression makes smaller. */
QImage Noise(const QSize& size, QImage::Format format)
{
    std::mt19937 random(7);
    QImage picture(size, format);
    for (int row = 0; row < size.height(); ++row) {
        uchar* const bytes = picture.scanLine(row);
        for (int column = 0; column < size.width() * picture.depth() / 8; ++column)
            bytes[column] = uchar(random());
    }
    return picture.depth() == 32 ? picture.convertToFormat(QImage::Format_RGB32) : picture;
}

TEST(PngFile, KeepsEveryPixelOfPicturesOfEverySize)
{
    for (const QSize size : {QSize(1, 1), QSize(1, 70'000), QSize(60'000, 1), QSize(255, 256),
                             QSize(257, 1'000), QSize(700, 512)}) {
        for (const auto format : {QImage::Format_RGB32, QImage::Format_Grayscale8}) {
            const QImage picture = Noise(size, format);
            for (const Compression compression : bothCompressions)
                EXPECT_EQ(Decoded(EncodePng(picture, compression)).convertToFormat(format), picture)
                    << size.width() << 'x' << size.height() << ' ' << format;
        }
    }
}

TEST(PngFile, IsGrayWhereEveryPixelIs)
{
    QImage picture(300, 200, QImage::Format_RGB32);
    picture.fill(qRgb(200, 200, 200));
    for (const Compression compression : bothCompressions)
        EXPECT_EQ(Decoded(EncodePng(picture, compression)).format(), QImage::Format_Grayscale8);
    picture.setPixel(299, 199, qRgb(200, 200, 201));
    for (const Compression compression : bothCompressions) {
        const QImage decoded = Decoded(EncodePng(picture, compression));
        EXPECT_EQ(decoded.format(), QImage::Format_RGB32);
        EXPECT_EQ(decoded.pixel(299, 199), qRgb(200, 200, 201));
    }
}

TEST(PngFile, TellsTheResolution)
{
    QImage picture = Noise({20, 20}, QImage::Format_RGB32);
    picture.setDotsPerMeterX(5906);
    picture.setDotsPerMeterY(2953);
    for (const Compression compression : bothCompressions) {
        const QImage decoded = Decoded(EncodePng(picture, compression));
        EXPECT_EQ(decoded.dotsPerMeterX(), 5906);
        EXPECT_EQ(decoded.dotsPerMeterY(), 2953);
    }
}

} // namespace
} // namespace Korvel::Worker
