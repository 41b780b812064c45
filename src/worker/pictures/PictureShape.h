#pragma once

#include "PixelFormat.h"

namespace Korvel::Worker {

/** What is known of a picture before its first row is drawn. */
struct PictureShape
{
    /** In pixels, at least 1. */
    int width = 0;
    int height = 0;
    PixelFormat pixels = PixelFormat::Bgrx;
    double dotsPerInch = 0;
};

} // namespace Korvel::Worker
