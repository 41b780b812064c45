#include "PngWriter.h"
#include "TestPicture.h"

#include <algorithm>
#include <functional>
#include <random>
#include <set>

#include <gtest/gtest.h>

#include <pthread.h>
#include <sys/mman.h>

namespace Korvel::Worker {
namespace {

using Test::Noise;
using Test::Written;

constexpr auto bothCompressions = {Compression::Fast, Compression::Small};

/** Decoded by Qt, which shares no code with the encoder. */
QImage Decoded(const QByteArray& png)
{
    QImage picture;
    EXPECT_TRUE(picture.loadFromData(png, "png"));
    return picture;
}

QByteArray EncodePng(const QImage& picture, Compression compression, int rowsAtOnce = 1 << 30)
{
    return Written(picture, {"png", 90, compression}, 150, rowsAtOnce);
}

/** A white page with black dashes. */
QImage Dashes()
{
    std::mt19937 random(1);
    QImage picture(1000, 1000, QImage::Format_Grayscale8);
    picture.fill(Qt::white);
    for (int row = 0; row < 1000; ++row) {
        uchar* const bytes = picture.scanLine(row);
        for (int dash = 0; dash < 4; ++dash) {
            const std::size_t begin = random() % 1000;
            const std::size_t length = random() % 40;
            std::fill(bytes + begin, bytes + std::min<std::size_t>(begin + length, 1000), 0);
        }
    }
    return picture;
}

/** Calls it on a thread whose stack lies there. */
void CallOnStackAt(std::uintptr_t address, const std::function<void()>& call)
{
    constexpr std::size_t size = 512 << 10;
    void* const stack =
        ::mmap(reinterpret_cast<void*>(address), size, PROT_READ | PROT_WRITE,
               MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK | MAP_FIXED_NOREPLACE, -1, 0);
    ASSERT_NE(stack, MAP_FAILED);
    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    ::pthread_attr_setstack(&attributes, stack, size);
    pthread_t thread;
    const auto run = [](void* function) -> void* {
        (*static_cast<const std::function<void()>*>(function))();
        return nullptr;
    };
    ASSERT_EQ(::pthread_create(&thread, &attributes, run,
                               const_cast<void*>(static_cast<const void*>(&call))),
              0);
    ::pthread_join(thread, nullptr);
    ::pthread_attr_destroy(&attributes);
    ::munmap(stack, size);
}

TEST(PngWriterTest, KeepsEveryPixelOfPicturesOfEverySize)
{
    for (const QSize size :
         {QSize(1, 1), QSize(7, 1), QSize(8, 1), QSize(20, 1), QSize(1, 70'000), QSize(60'000, 1),
          QSize(255, 256), QSize(257, 1'000), QSize(700, 512)}) {
        for (const auto format : {QImage::Format_RGB32, QImage::Format_Grayscale8}) {
            const QImage picture = Noise(size, format);
            for (const Compression compression : bothCompressions)
                EXPECT_EQ(Decoded(EncodePng(picture, compression)).convertToFormat(format), picture)
                    << size.width() << 'x' << size.height() << ' ' << format;
        }
    }
}

TEST(PngWriterTest, IsGrayWhereEveryPixelIs)
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

TEST(PngWriterTest, HasTheSameBytesWhereRowsComeInPieces)
{
    QImage coloredBelow = Dashes().convertToFormat(QImage::Format_RGB32);
    coloredBelow.setPixel(500, 900, qRgb(1, 2, 3));
    for (const QImage& picture :
         {Dashes(), Noise({700, 512}, QImage::Format_RGB32), coloredBelow}) {
        for (const Compression compression : bothCompressions) {
            for (const int rowsAtOnce : {1, 100, 511})
                EXPECT_EQ(EncodePng(picture, compression, rowsAtOnce),
                          EncodePng(picture, compression));
        }
    }
}

TEST(PngWriterTest, TellsTheResolution)
{
    const QImage picture = Noise({20, 20}, QImage::Format_RGB32);
    for (const double dotsPerInch : {1.0, 72.0, 299.72, 4800.0, 1e9}) {
        const int expected = qRound(std::min(dotsPerInch / 0.0254, 1e9));
        const QImage decoded = Decoded(Written(picture, {"png"}, dotsPerInch));
        EXPECT_EQ(decoded.dotsPerMeterX(), expected);
        EXPECT_EQ(decoded.dotsPerMeterY(), expected);
    }
}

TEST(PngWriterTest, HasTheSameBytesWhereverInMemoryItIsMade)
{
    const QImage picture = Dashes();
    for (const Compression compression : bothCompressions) {
        std::set<QByteArray> files{EncodePng(picture, compression)};
        // An encoder that looks at its own address has packed otherwise at one of these places.
        for (std::uintptr_t place = 0; place < 32; ++place)
            CallOnStackAt(0x200002000000 + (place << 16),
                          [&] { files.insert(EncodePng(picture, compression)); });
        EXPECT_EQ(files.size(), 1u);
    }
}

} // namespace
} // namespace Korvel::Worker
