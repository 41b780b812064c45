#include "Pixels.h"

namespace Korvel::Worker {

namespace {

constexpr QRgb white = 0xffffffff;
constexpr QRgb black = 0xff000000; // without transparency, as are all numbers above

unsigned OnWhite(unsigned sample, unsigned alpha)
{
    return 255 - (alpha * (255 - sample) + 127) / 255;
}

QRgb OnWhite(QRgb pixel)
{
    const unsigned alpha = pixel >> 24;
    return black | OnWhite((pixel >> 16) & 0xff, alpha) << 16 |
           OnWhite((pixel >> 8) & 0xff, alpha) << 8 | OnWhite(pixel & 0xff, alpha);
}

} // namespace

void PutOnWhite(QImage& picture)
{
    const int width = picture.width(); // which is a call, and would be one for each pixel
    for (int row = 0; row < picture.height(); ++row) {
        auto* const pixels = reinterpret_cast<QRgb*>(picture.scanLine(row));
        for (int column = 0; column < width; ++column) {
            if (pixels[column] == 0)
                pixels[column] = white;
            else if (pixels[column] < black)
                pixels[column] = OnWhite(pixels[column]);
        }
    }
    picture.reinterpretAsFormat(QImage::Format_RGB32);
}

bool IsGray(const QImage& picture)
{
    const int width = picture.width();
    for (int row = 0; row < picture.height(); ++row) {
        const auto* const pixels = reinterpret_cast<const QRgb*>(picture.constScanLine(row));
        QRgb differences = 0;
        for (int column = 0; column < width; ++column)
            differences |= pixels[column] ^ (pixels[column] >> 8);
        if ((differences & 0xffff) != 0)
            return false;
    }
    return true;
}

void CopyGray(const QRgb* pixels, std::size_t count, char* into)
{
    for (std::size_t i = 0; i < count; ++i)
        into[i] = char(pixels[i] & 0xff);
}

} // namespace Korvel::Worker
