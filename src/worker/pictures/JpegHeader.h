#pragma once

#include <optional>
#include <string_view>

namespace Korvel::Worker {

/** What a JPEG says of its picture. */
struct JpegHeader
{
    int width = 0;
    int height = 0;
    /** 1 for gray, 3 for colors. */
    int channels = 0;
};

/**
 * Reads the header of a JPEG that every program shows alike, without knowing where it comes from:
 * whole, gray or of RGB or YCbCr with 8 bits a sample, with no profile of its own, and upright.
 *
 * @param jpeg  all bytes of it
 * @return nothing where it is another one, or none
 */
std::optional<JpegHeader> ReadJpegHeader(std::string_view jpeg);

} // namespace Korvel::Worker
