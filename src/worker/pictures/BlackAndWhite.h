#pragma once

#include "DrawRows.h"

namespace Korvel::Worker {

/** How gray becomes black and white. */
enum class BlackAndWhite {
    Threshold, ///< the darker half of all grays is black
    Dither     ///< by Floyd and Steinberg: dots, as many as make up for the gray
};

/** The rows of a gray picture, each of their pixels 0 or 255; they come in smaller pieces. */
DrawRows InBlackAndWhite(int width, BlackAndWhite how, DrawRows draw);

} // namespace Korvel::Worker
