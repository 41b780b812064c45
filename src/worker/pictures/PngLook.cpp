#include "PngLook.h"

#include "MemoryOutput.h"
#include "Pixels.h"
#include "PngChunks.h"
#include "PngPacker.h"
#include "PngRows.h"

#include <algorithm>

namespace Korvel::Worker {

using Kind = PngForm::Kind;

namespace {

constexpr std::size_t mostNoted = 32 << 20;
constexpr std::size_t pixelsAColor = 16; // fewer would not pay for the palette

} // namespace

PngLook::PngLook(const PictureShape& shape, const Rows& rows)
    : shape(shape),
      notedRows(int(std::min(std::size_t(rows.count), mostNoted / std::size_t(shape.width))))
{
    if (shape.IsTransparent()) {
        form.kind = Kind::Transparent;
        notedRows = 0;
    } else {
        LookAt({rows.first, rows.stride, notedRows});
    }
    form.isFiltered = DoFiltersPay(rows);
}

const unsigned char* PngLook::Row(int row) const
{
    return row < notedRows ? noted.data() + std::size_t(row) * std::size_t(shape.width) : nullptr;
}

void PngLook::Widen()
{
    if (form.kind == Kind::Bilevel) {
        form.kind = Kind::Gray;
        return;
    }
    form.kind = Kind::Color;
    notedRows = 0;
}

void PngLook::LookAt(const Rows& rows)
{
    noted.resize(std::size_t(notedRows) * std::size_t(shape.width));
    LookAtGrays(rows);
    if (form.kind == Kind::Color)
        LookAtColors(rows);
}

void PngLook::LookAtGrays(const Rows& rows)
{
    form.kind = Kind::Bilevel;
    const auto width = std::size_t(shape.width);
    for (int row = 0; row < rows.count; ++row) {
        const unsigned char* const pixels = rows.first + row * rows.stride;
        unsigned char* const into = noted.data() + std::size_t(row) * width;
        Tones tones;
        if (shape.IsGray()) {
            std::copy_n(pixels, width, into);
            tones = TonesOf(pixels, width);
        } else {
            tones = CopyGray(pixels, width, into);
        }
        if (!tones.areGray) {
            form.kind = Kind::Color;
            return;
        }
        if (!tones.areBilevel)
            form.kind = Kind::Gray;
    }
}

void PngLook::LookAtColors(const Rows& rows)
{
    const auto width = std::size_t(shape.width);
    bool areFew = true;
    for (int row = 0; areFew && row < rows.count; ++row)
        areFew = form.palette.Number(rows.first + row * rows.stride, width,
                                     noted.data() + std::size_t(row) * width);
    if (areFew && form.palette.Size() * pixelsAColor <= noted.size())
        form.kind = Kind::Palette;
    else
        notedRows = 0;
}

/** Filters make text, lines and scans of them larger, and photographs smaller. */
bool PngLook::DoFiltersPay(const Rows& rows) const
{
    constexpr double worthwhile = 0.96;
    if (form.kind == Kind::Bilevel || form.kind == Kind::Palette)
        return false;
    return HasShades(rows) &&
           double(PackedSample(rows, true)) < worthwhile * double(PackedSample(rows, false));
}

/** Whether colors change by little in many places, as they do not in text. */
bool PngLook::HasShades(const Rows& rows) const
{
    constexpr int rowsForOne = 32;
    constexpr std::size_t shadesForOne = 16;
    PngRows writer(shape, form);
    std::vector<unsigned char> bytes(writer.Length());
    std::size_t shades = 0;
    std::size_t seen = 0;
    for (int row = 0; row < rows.count; row += rowsForOne) {
        if (!writer.Write(rows.first + row * rows.stride, bytes.data()))
            return false;
        shades += CountShades(bytes.data() + 1, bytes.size() - 1, form.BytesAPixel());
        seen += bytes.size();
    }
    return shades * shadesForOne > seen;
}

/** How large a part of the rows is when it is packed. */
std::uint64_t PngLook::PackedSample(const Rows& rows, bool isFiltered) const
{
    constexpr int rowsTogether = 8;
    constexpr int rowsForThese = 20 * rowsTogether;
    PngForm sampled = form;
    sampled.isFiltered = isFiltered;
    PngRows writer(shape, sampled);
    std::vector<unsigned char> bytes;
    for (int row = 0; row < rows.count; ++row) {
        if (row % rowsForThese >= rowsTogether)
            continue;
        bytes.resize(bytes.size() + writer.Length());
        writer.Write(rows.first + row * rows.stride, bytes.data() + bytes.size() - writer.Length());
    }
    MemoryOutput packed;
    PngChunks chunks(packed);
    MakePngPacker(chunks, Compression::Fast, bytes.size())->Add(bytes, true);
    return packed.Size();
}

} // namespace Korvel::Worker
