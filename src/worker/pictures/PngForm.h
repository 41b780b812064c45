#pragma once

#include "PngPalette.h"

#include <cstddef>

namespace Korvel::Worker {

/** How the pixels of a PNG are written. */
struct PngForm
{
    enum class Kind {
        Bilevel, ///< black and white
        Gray,
        Palette,
        Color,
        Transparent ///< colors, and how opaque they are
    };

    Kind kind = Kind::Color;
    PngPalette palette;
    bool isFiltered = false;

    /** A sample, or a number of the palette. */
    int Bits() const;
    /** At least one. */
    std::size_t BytesAPixel() const;
    /** Without its filter. */
    std::size_t BytesOfRow(int width) const;
};

} // namespace Korvel::Worker
