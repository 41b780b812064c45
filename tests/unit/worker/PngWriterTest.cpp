#include "PngWriter.h"
#include "TestPicture.h"

#include <algorithm>
#include <functional>
#include <ostream>
#include <random>
#include <set>
#include <vector>

#include <gtest/gtest.h>
#include <png.h>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <pthread.h>
#include <sys/mman.h>

namespace Korvel::Worker {
namespace {

using Test::Noise;
using Test::Shades;
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

/** What stands in the header of a PNG. */
struct Head
{
    int bits;
    int colorType;
};

bool operator==(const Head& one, const Head& other)
{
    return one.bits == other.bits && one.colorType == other.colorType;
}

void PrintTo(const Head& head, std::ostream* out)
{
    *out << head.bits << " bits, color type " << head.colorType;
}

constexpr Head bilevel = {1, 0};
constexpr Head gray = {8, 0};
constexpr Head color = {8, 2};

Head HeadOf(const QByteArray& png)
{
    return {png[24], png[25]};
}

/** Of so many colors, none of them gray. */
QImage Colors(int count, const QSize& size = {128, 128})
{
    QImage picture(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            const int number = (y * size.width() + x) % count;
            picture.setPixel(x, y, qRgb(number % 256, number / 256, 77));
        }
    }
    return picture;
}

/** Of the size of a small page, with a pixel of that color far down. */
QImage WhiteBut(QRgb pixel, QImage::Format format = QImage::Format_RGB32)
{
    QImage picture(300, 200, format);
    picture.fill(Qt::white);
    picture.setPixel(299, 190, pixel);
    return picture;
}

struct Sample
{
    const char* name;
    QImage picture;
    Head expected;
};

/** Of every form that PNGs have, each beside the next. */
std::vector<Sample> Samples()
{
    return {
        {"white", WhiteBut(qRgb(255, 255, 255)), bilevel},
        {"a black pixel", WhiteBut(qRgb(0, 0, 0)), bilevel},
        {"a black pixel among grays", WhiteBut(qRgb(0, 0, 0), QImage::Format_Grayscale8), bilevel},
        {"a pixel that is almost black", WhiteBut(qRgb(1, 1, 1)), gray},
        {"a pixel that is almost white", WhiteBut(qRgb(254, 254, 254)), gray},
        {"a red pixel", WhiteBut(qRgb(255, 0, 0)), {1, 3}},
        {"dashes", Dashes(), bilevel},
        {"grays", Noise({70, 60}, QImage::Format_Grayscale8), gray},
        {"a color", Colors(1), {1, 3}},
        {"2 colors", Colors(2), {1, 3}},
        {"3 colors", Colors(3), {2, 3}},
        {"4 colors", Colors(4, {127, 129}), {2, 3}},
        {"5 colors", Colors(5, {127, 129}), {4, 3}},
        {"16 colors", Colors(16), {4, 3}},
        {"17 colors", Colors(17), {8, 3}},
        {"256 colors", Colors(256), {8, 3}},
        {"257 colors", Colors(257), color},
        {"few pixels of many colors", Colors(100, {10, 10}), color},
        {"noise", Noise({300, 200}, QImage::Format_RGB32), color},
        {"shades", Shades({700, 300}, QImage::Format_RGB32), color},
        {"gray shades", Shades({700, 300}, QImage::Format_Grayscale8), gray}};
}

TEST(PngWriterTest, WritesNoMoreBitsThanThePixelsWant)
{
    for (const Sample& sample : Samples()) {
        for (const Compression compression : bothCompressions)
            EXPECT_EQ(HeadOf(EncodePng(sample.picture, compression)), sample.expected)
                << sample.name;
    }
}

TEST(PngWriterTest, KeepsEveryPixelWhereRowsComeInPieces)
{
    for (const Sample& sample : Samples()) {
        for (const Compression compression : bothCompressions) {
            for (const int rowsAtOnce : {1, 7, 100, 511}) {
                const QImage decoded = Decoded(EncodePng(sample.picture, compression, rowsAtOnce));
                EXPECT_EQ(decoded.convertToFormat(sample.picture.format()), sample.picture)
                    << sample.name << ", " << rowsAtOnce << " rows at once";
            }
        }
    }
}

TEST(PngWriterTest, MakesShadesSmallerByFilters)
{
    for (const auto format : {QImage::Format_RGB32, QImage::Format_Grayscale8}) {
        const QImage shades = Shades({1'000, 1'000}, format);
        EXPECT_LT(EncodePng(shades, Compression::Fast).size(), shades.sizeInBytes() / 5);
    }
}

/** By libpng, as red, green and blue. */
QByteArray ReadByLibpng(const QByteArray& png)
{
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    EXPECT_NE(::png_image_begin_read_from_memory(&image, png.constData(), std::size_t(png.size())),
              0)
        << image.message;
    image.format = PNG_FORMAT_RGB;
    QByteArray pixels(int(PNG_IMAGE_SIZE(image)), '\0');
    EXPECT_NE(::png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr), 0)
        << image.message;
    return pixels;
}

QByteArray Rgb(const QImage& picture)
{
    const QImage pixels = picture.convertToFormat(QImage::Format_RGB888);
    QByteArray rows;
    for (int row = 0; row < pixels.height(); ++row)
        rows.append(reinterpret_cast<const char*>(pixels.constScanLine(row)), 3 * pixels.width());
    return rows;
}

/** By Debian's Python, whose PIL reads PNGs with code of its own. */
std::vector<QByteArray> ReadByPil(const std::vector<QByteArray>& pngs)
{
    const QTemporaryDir folder;
    QStringList paths;
    for (const QByteArray& png : pngs) {
        QFile file(folder.filePath(QString::number(paths.size())));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(png) == png.size());
        paths.push_back(file.fileName());
    }
    EXPECT_EQ(QProcess::execute("/usr/bin/python3", QStringList{READ_PNGS} + paths), 0);
    std::vector<QByteArray> pixels;
    for (const QString& path : paths) {
        QFile file(path + ".rgb");
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        pixels.push_back(file.readAll());
    }
    return pixels;
}

TEST(PngWriterTest, IsReadAlikeByThreeReaders)
{
    std::vector<QByteArray> pngs;
    for (const Sample& sample : Samples()) {
        for (const Compression compression : bothCompressions)
            pngs.push_back(EncodePng(sample.picture, compression));
    }
    const std::vector<QByteArray> byPil = ReadByPil(pngs);
    std::size_t number = 0;
    for (const Sample& sample : Samples()) {
        for (int i = 0; i < int(bothCompressions.size()); ++i, ++number) {
            EXPECT_EQ(Decoded(pngs[number]).convertToFormat(sample.picture.format()),
                      sample.picture)
                << sample.name;
            EXPECT_TRUE(ReadByLibpng(pngs[number]) == Rgb(sample.picture)) << sample.name;
            EXPECT_TRUE(byPil[number] == Rgb(sample.picture)) << sample.name;
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
