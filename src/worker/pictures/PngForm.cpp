#include "PngForm.h"

namespace Korvel::Worker {

int PngForm::Bits() const
{
    constexpr int bitsOfByte = 8;
    if (kind == Kind::Bilevel)
        return 1;
    if (kind != Kind::Palette)
        return bitsOfByte;
    int bits = 1;
    while (palette.Size() > std::size_t(1) << bits)
        bits *= 2;
    return bits;
}

std::size_t PngForm::BytesAPixel() const
{
    if (kind == Kind::Transparent)
        return 4;
    return kind == Kind::Color ? 3 : 1;
}

std::size_t PngForm::BytesOfRow(int width) const
{
    constexpr std::size_t bitsOfByte = 8;
    return (std::size_t(width) * BytesAPixel() * std::size_t(Bits()) + bitsOfByte - 1) / bitsOfByte;
}

} // namespace Korvel::Worker
