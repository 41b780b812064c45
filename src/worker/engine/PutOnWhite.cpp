#include "PutOnWhite.h"

#include <algorithm>

namespace Korvel::Worker {

namespace {

constexpr QRgb everyOther = 0x00ff00ff; // samples, so that each has 16 bits to be multiplied in
constexpr QRgb white = 0xffffffff;
constexpr QRgb opaque = 0xff000000;

/** 255 - alpha * (255 - sample) / 255, rounded, of two samples. */
QRgb OnWhite(QRgb samples, QRgb alpha)
{
    const QRgb products = alpha * (samples ^ everyOther) + 0x00800080;
    return everyOther - (((products + ((products >> 8) & everyOther)) >> 8) & everyOther);
}

void PutOnWhite(QRgb* pixels, int count)
{
    QRgb any = 0;
    for (int i = 0; i < count; ++i)
        any |= pixels[i];
    if (any == 0) {
        std::fill_n(pixels, count, white);
        return;
    }
    for (int i = 0; i < count; ++i) {
        const QRgb alpha = pixels[i] >> 24;
        const QRgb redAndBlue = OnWhite(pixels[i] & everyOther, alpha);
        const QRgb green = OnWhite((pixels[i] >> 8) & 0xff, alpha) & 0xff;
        pixels[i] = opaque | redAndBlue | green << 8;
    }
}

} // namespace

void PutOnWhite(QImage& picture)
{
    constexpr int width = 32;        // pixels looked at in one go, as most of a page is often empty
    const int end = picture.width(); // to call it for each pixel takes time
    for (int row = 0; row < picture.height(); ++row) {
        auto* const pixels = reinterpret_cast<QRgb*>(picture.scanLine(row));
        for (int column = 0; column < end; column += width)
            PutOnWhite(pixels + column, std::min(width, end - column));
    }
    picture.reinterpretAsFormat(QImage::Format_RGB32);
}

} // namespace Korvel::Worker
