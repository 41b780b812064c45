#pragma once

#include "PixelFormat.h"

#include <cstddef>

namespace Korvel::Worker {

/** People count dots by the inch, pictures by the metre. */
inline constexpr double metresPerInch = 0.0254;

/** What is known of a picture before its first row is drawn. */
struct PictureShape
{
    /** In pixels, at least 1. */
    int width = 0;
    int height = 0;
    PixelFormat pixels = PixelFormat::Bgrx;
    double dotsPerInch = 0;
    /** Whether its grays are black and white alone, 0 and 255. */
    bool isBilevel = false;

    bool IsGray() const { return pixels == PixelFormat::Gray; }
    bool IsTransparent() const { return pixels == PixelFormat::Bgra; }
    /** Which pictures have as whole numbers, of at most a thousand million. */
    int DotsPerMetre() const;
    /** @throws RequestError  "cannot-render": a side is longer than a format of that name takes */
    void RequireSides(const char* format, int longest) const;
};

} // namespace Korvel::Worker
