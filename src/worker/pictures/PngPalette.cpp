#include "PngPalette.h"

#include <algorithm>
#include <cstring>

namespace Korvel::Worker {

namespace {

constexpr std::size_t bytesAPixel = 4;
constexpr std::size_t pixelsAtOnce = 32;

std::uint32_t ColorAt(const unsigned char* bgrx)
{
    return std::uint32_t(bgrx[0]) | std::uint32_t(bgrx[1]) << 8 | std::uint32_t(bgrx[2]) << 16;
}

/** Whether so many pixels are alike; most of a page is of one color. */
bool AreAlike(const unsigned char* bgrx)
{
    std::uint32_t pixels[pixelsAtOnce];
    std::memcpy(pixels, bgrx, sizeof pixels);
    std::uint32_t differences = 0;
    for (const std::uint32_t pixel : pixels)
        differences |= pixel ^ pixels[0];
    return differences == 0;
}

} // namespace

bool PngPalette::Number(const unsigned char* bgrx, std::size_t count, unsigned char* into)
{
    std::uint32_t last = ~ColorAt(bgrx);
    std::size_t number = 0;
    for (std::size_t i = 0; i < count;) {
        const unsigned char* const pixel = bgrx + i * bytesAPixel;
        const std::uint32_t color = ColorAt(pixel);
        if (color == last && i + pixelsAtOnce <= count && AreAlike(pixel)) {
            std::fill_n(into + i, pixelsAtOnce, static_cast<unsigned char>(number));
            i += pixelsAtOnce;
            continue;
        }
        if (color != last && (number = NumberOf(color)) == most)
            return false;
        last = color;
        into[i++] = static_cast<unsigned char>(number);
    }
    return true;
}

std::string PngPalette::Samples() const
{
    std::string samples;
    std::for_each(colors.begin(), colors.begin() + std::ptrdiff_t(size), [&](std::uint32_t color) {
        for (const int shift : {16, 8, 0})
            samples += char(color >> shift);
    });
    return samples;
}

std::size_t PngPalette::NumberOf(std::uint32_t color)
{
    constexpr std::uint32_t scatter = 0x9e3779b1;
    for (std::size_t place = (color * scatter) >> 22;; place = (place + 1) % places) {
        if (numbers[place] == 0) {
            if (size == most)
                return most;
            colors[size] = color;
            numbers[place] = std::uint16_t(++size);
            return size - 1;
        }
        if (colors[numbers[place] - 1U] == color)
            return numbers[place] - 1U;
    }
}

} // namespace Korvel::Worker
