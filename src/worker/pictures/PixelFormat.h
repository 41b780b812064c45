#pragma once

namespace Korvel::Worker {

/** How the pixels of a picture lie in memory. */
enum class PixelFormat {
    Bgrx, ///< four bytes: blue, green, red, and one that says nothing
    Bgra, ///< four bytes, the fourth of which says how opaque the pixel is, 255 for wholly so
    Gray  ///< one byte
};

} // namespace Korvel::Worker
