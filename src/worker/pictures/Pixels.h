#pragma once

#include <cstddef>

/** Loops over pixels; those that are named "Bgrx" have four bytes. */
namespace Korvel::Worker {

/** What colors were seen. */
struct Tones
{
    bool areGray = true;
    /** Nothing but black and white. */
    bool areBilevel = true;
};

/** One byte for each of so many pixels: blue, where they are not gray. */
Tones CopyGray(const unsigned char* bgrx, std::size_t count, unsigned char* into);

/** Of pixels of one byte. */
Tones TonesOf(const unsigned char* gray, std::size_t count);

/** Red, green and blue of so many pixels. */
void CopyRgb(const unsigned char* bgrx, std::size_t count, unsigned char* into);

/** Red, green, blue and opacity of so many pixels. */
void CopyRgba(const unsigned char* bgra, std::size_t count, unsigned char* into);

/** Blue, green and red of so many pixels. */
void CopyBgr(const unsigned char* bgrx, std::size_t count, unsigned char* into);

/**
 * Puts so many values of a few bits each, which have a byte each, side by side, the first of a byte
 * highest; of each byte the lowest bits count.
 *
 * @param bits  1, 2, 4 or 8
 */
void PackBits(const unsigned char* values, std::size_t count, int bits, unsigned char* into);

/** The filter of PNGs of that name: what the neighbors of each byte do not foretell. */
void FilterByPaeth(const unsigned char* row, const unsigned char* above, std::size_t count,
                   std::size_t bytesAPixel, unsigned char* into);

/** How many bytes differ from that of the pixel before, and by little. */
std::size_t CountShades(const unsigned char* row, std::size_t count, std::size_t bytesAPixel);

} // namespace Korvel::Worker
