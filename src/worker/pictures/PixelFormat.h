#pragma once

namespace Korvel::Worker {

/** How the pixels of a picture lie in memory. */
enum class PixelFormat {
    Bgrx, ///< four bytes: blue, green, red, and one that says nothing
    Gray  ///< one byte
};

} // namespace Korvel::Worker
