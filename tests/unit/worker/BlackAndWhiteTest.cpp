#include "BlackAndWhite.h"
#include "TestPicture.h"

#include <gtest/gtest.h>

namespace Korvel::Worker {
namespace {

using Test::RowsOf;
using Test::Shades;

constexpr auto bothWays = {BlackAndWhite::Threshold, BlackAndWhite::Dither};

QImage Converted(const QImage& gray, BlackAndWhite how, int rowsAtOnce = 1 << 30)
{
    const DrawRows draw = InBlackAndWhite(gray.width(), how, RowsOf(gray, rowsAtOnce));
    QImage picture(gray.size(), QImage::Format_Grayscale8);
    for (int first = 0; first < gray.height();) {
        const Rows rows = draw(first);
        for (int row = 0; row < rows.count; ++row)
            std::copy_n(rows.first + row * rows.stride, gray.width(),
                        picture.scanLine(first + row));
        first += rows.count;
    }
    return picture;
}

double MeanOf(const QImage& gray)
{
    double sum = 0;
    for (int y = 0; y < gray.height(); ++y)
        for (int x = 0; x < gray.width(); ++x)
            sum += gray.constScanLine(y)[x];
    return sum / gray.width() / gray.height();
}

QImage Filled(uint gray)
{
    QImage picture(120, 90, QImage::Format_Grayscale8);
    picture.fill(gray);
    return picture;
}

TEST(BlackAndWhiteTest, TakesWhicheverIsNearer)
{
    EXPECT_EQ(MeanOf(Converted(Filled(127), BlackAndWhite::Threshold)), 0);
    EXPECT_EQ(MeanOf(Converted(Filled(128), BlackAndWhite::Threshold)), 255);
}

TEST(BlackAndWhiteTest, DithersAsManyDotsAsMakeUpForTheGray)
{
    for (const int gray : {0, 20, 100, 128, 200, 254, 255})
        EXPECT_NEAR(MeanOf(Converted(Filled(uint(gray)), BlackAndWhite::Dither)), gray, 2);
}

TEST(BlackAndWhiteTest, HasNothingBetween)
{
    for (const BlackAndWhite how : bothWays) {
        const QImage picture = Converted(Shades({300, 200}, QImage::Format_Grayscale8), how);
        for (int y = 0; y < picture.height(); ++y)
            for (int x = 0; x < picture.width(); ++x)
                ASSERT_TRUE(picture.constScanLine(y)[x] == 0 || picture.constScanLine(y)[x] == 255);
    }
}

TEST(BlackAndWhiteTest, IsTheSameHoweverManyRowsComeAtOnce)
{
    const QImage gray = Shades({301, 200}, QImage::Format_Grayscale8);
    for (const BlackAndWhite how : bothWays) {
        for (const int rowsAtOnce : {1, 7, 64})
            EXPECT_EQ(Converted(gray, how, rowsAtOnce), Converted(gray, how)) << rowsAtOnce;
    }
}

TEST(BlackAndWhiteTest, IsTheSameWhenItIsDrawnAgain)
{
    const QImage gray = Shades({301, 200}, QImage::Format_Grayscale8);
    const DrawRows draw = InBlackAndWhite(301, BlackAndWhite::Dither, RowsOf(gray, 50));
    const Rows rows = draw(0);
    const std::vector<unsigned char> once(rows.first, rows.first + 301 * 50);
    draw(50);
    const Rows again = draw(0);
    EXPECT_TRUE(std::equal(once.begin(), once.end(), again.first));
}

} // namespace
} // namespace Korvel::Worker
