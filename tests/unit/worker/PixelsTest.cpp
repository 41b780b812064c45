#include "Pixels.h"
#include "PutOnWhite.h"

#include <cmath>

#include <gtest/gtest.h>

namespace Korvel::Worker {

namespace {

QRgb OnWhite(QRgb pixel)
{
    const auto sample = [alpha = qAlpha(pixel)](int of) {
        return int(std::lround((of * alpha + 255.0 * (255 - alpha)) / 255));
    };
    return qRgb(sample(qRed(pixel)), sample(qGreen(pixel)), sample(qBlue(pixel)));
}

} // namespace

TEST(PixelsTest, EverySampleOfEveryTransparencyIsPutOnWhite)
{
    QImage picture(256, 256, QImage::Format_ARGB32);
    const auto before = [](int x, int y) {
        return qRgba(x, 255 - x, x ^ 0x55, y);
    };
    for (int y = 0; y < 256; ++y) {
        for (int x = 0; x < 256; ++x)
            picture.setPixel(x, y, before(x, y));
    }
    PutOnWhite(picture);
    EXPECT_EQ(picture.format(), QImage::Format_RGB32);
    for (int y = 0; y < 256; ++y) {
        for (int x = 0; x < 256; ++x)
            ASSERT_EQ(picture.pixel(x, y), OnWhite(before(x, y))) << x << " of " << y;
    }
}

TEST(PixelsTest, AnEmptyPageOfAnyWidthBecomesWhite)
{
    for (int width = 1; width < 70; ++width) {
        QImage picture(width, 2, QImage::Format_ARGB32);
        picture.fill(0);
        picture.setPixel(width - 1, 1, 0xff123456);
        PutOnWhite(picture);
        QImage expected(width, 2, QImage::Format_RGB32);
        expected.fill(0xffffffff);
        expected.setPixel(width - 1, 1, 0xff123456);
        EXPECT_EQ(picture, expected) << width;
    }
}

} // namespace Korvel::Worker
