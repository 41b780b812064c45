#include "PngEncoder.h"

#include <algorithm>
#include <functional>
#include <random>
#include <set>

#include <gtest/gtest.h>

#include <pthread.h>
#include <sys/mman.h>

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

TEST(PngEncoderTest, KeepsEveryPixelOfPicturesOfEverySize)
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

TEST(PngEncoderTest, IsGrayWhereEveryPixelIs)
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

TEST(PngEncoderTest, TellsTheResolution)
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

TEST(PngEncoderTest, HasTheSameBytesWhereverInMemoryItIsMade)
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
