#pragma once

#include "MemoryOutput.h"
#include "WritePicture.h"

#include <algorithm>
#include <random>

#include <QByteArray>
#include <QImage>

namespace Korvel::Worker::Test {

/** The shape of a picture of the format RGB32 or Grayscale8. */
inline PictureShape ShapeOf(const QImage& picture, double dotsPerInch = 150)
{
    const bool isGray = picture.format() == QImage::Format_Grayscale8;
    return {picture.width(), picture.height(), isGray ? PixelFormat::Gray : PixelFormat::Bgrx,
            dotsPerInch};
}

/** Its rows, so many at a time. */
inline DrawRows RowsOf(const QImage& picture, int atOnce = 1 << 30)
{
    return [&picture, atOnce](int first) {
        return Rows{picture.constScanLine(first), picture.bytesPerLine(),
                    std::min(atOnce, picture.height() - first)};
    };
}

/** As a file. */
inline QByteArray Written(const QImage& picture, const Encoding& encoding, double dotsPerInch = 150,
                          int rowsAtOnce = 1 << 30)
{
    MemoryOutput file;
    WritePicture(file, ShapeOf(picture, dotsPerInch), encoding, RowsOf(picture, rowsAtOnce));
    return QByteArray::fromStdString(file.Bytes());
}

/** Black, what fills its rows up to words included. */
inline QImage Cleared(const QSize& size, QImage::Format format)
{
    QImage picture(size, format);
    std::fill_n(picture.bits(), picture.sizeInBytes(), uchar(0));
    return picture;
}

/** Every pixel another, which no compression makes smaller. */
inline QImage Noise(const QSize& size, QImage::Format format)
{
    std::mt19937 random(7);
    QImage picture = Cleared(size, format);
    for (int row = 0; row < size.height(); ++row) {
        uchar* const bytes = picture.scanLine(row);
        for (int column = 0; column < size.width() * picture.depth() / 8; ++column)
            bytes[column] = uchar(random());
    }
    return picture;
}

/** Shades that change slowly, as those of a photograph. */
inline QImage Shades(const QSize& size, QImage::Format format)
{
    QImage picture(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x)
            picture.setPixel(x, y,
                             qRgb(x * 255 / size.width(), y * 255 / size.height(), x * y / 64));
    }
    const QImage shades = picture.convertToFormat(format);
    QImage result = Cleared(size, format);
    for (int y = 0; y < size.height(); ++y)
        std::copy_n(shades.constScanLine(y), size.width() * result.depth() / 8, result.scanLine(y));
    return result;
}

} // namespace Korvel::Worker::Test
