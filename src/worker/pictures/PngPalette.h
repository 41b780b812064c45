#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace Korvel::Worker {

/** Up to 256 colors, in the order in which they were met. */
class PngPalette
{
public:
    /**
     * Writes the number of each pixel's color, having taken up those that are new.
     *
     * @param bgrx  pixels of four bytes
     * @return false where there are too many colors
     */
    bool Number(const unsigned char* bgrx, std::size_t count, unsigned char* into);

    std::size_t Size() const { return size; }

    /** Red, green and blue of each. */
    std::string Samples() const;

private:
    static constexpr std::size_t most = 256;
    static constexpr std::size_t places = 4 * most;

    /** The color's number, or `most` where there is no place for it. */
    std::size_t NumberOf(std::uint32_t color);

    std::array<std::uint32_t, most> colors = {};
    std::size_t size = 0;
    /** By the hash of a color, its number and one; 0 where there is none. */
    std::array<std::uint16_t, places> numbers = {};
};

} // namespace Korvel::Worker
