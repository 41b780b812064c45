#include "PngRows.h"

#include "Pixels.h"

#include <algorithm>

namespace Korvel::Worker {

using Kind = PngForm::Kind;

namespace {

constexpr unsigned char noFilter = 0;
constexpr unsigned char paeth = 4;

} // namespace

PngRows::PngRows(const PictureShape& shape, const PngForm& form)
    : shape(shape),
      form(form),
      width(std::size_t(shape.width)),
      length(form.BytesOfRow(shape.width)),
      values(width),
      above(length)
{
}

bool PngRows::Write(const unsigned char* pixels, unsigned char* into)
{
    *into = noFilter;
    if (!Copy(pixels, into + 1))
        return false;
    Filter(into);
    return true;
}

void PngRows::WriteKnown(const unsigned char* known, unsigned char* into)
{
    *into = noFilter;
    PackBits(known, width, form.Bits(), into + 1);
    Filter(into);
}

bool PngRows::Copy(const unsigned char* pixels, unsigned char* into)
{
    if (form.kind == Kind::Color)
        CopyRgb(pixels, width, into);
    else if (form.kind == Kind::Transparent)
        CopyRgba(pixels, width, into);
    else if (form.kind == Kind::Gray && shape.IsGray())
        std::copy_n(pixels, width, into);
    else if (form.kind == Kind::Gray)
        return CopyGray(pixels, width, into).areGray;
    else if (CopyValues(pixels))
        PackBits(values.data(), width, form.Bits(), into);
    else
        return false;
    return true;
}

bool PngRows::CopyValues(const unsigned char* pixels)
{
    if (form.kind == Kind::Palette) {
        const std::size_t known = form.palette.Size();
        return form.palette.Number(pixels, width, values.data()) && form.palette.Size() == known;
    }
    if (!shape.IsGray())
        return CopyGray(pixels, width, values.data()).areBilevel;
    std::copy_n(pixels, width, values.data());
    return TonesOf(pixels, width).areBilevel;
}

void PngRows::Filter(unsigned char* row)
{
    if (!form.isFiltered)
        return;
    current.assign(row + 1, row + 1 + length);
    *row = paeth;
    FilterByPaeth(current.data(), above.data(), length, form.BytesAPixel(), row + 1);
    above.swap(current);
}

} // namespace Korvel::Worker
