#pragma once

#include "WorkerProtocol.h"

#include <string>

#include <QSize>

namespace Korvel::App {

/** Which pages are converted, and what the results look like. */
struct PageOptions
{
    /** The page ranges as they were given; empty for all pages. */
    std::string ranges;
    /** The resolution of pictures in dots per inch. */
    double resolution = WorkerProtocol::defaultResolution;
    /** Pixels that a picture is to fit into, in place of the resolution; empty for none. */
    QSize size;
    bool gray = false;
    /** The quality of JPEG and WebP, from 1 to 100; 0 for the default. */
    int quality = 0;
    /** How a PNG is compressed, "fast" or "small"; empty for the default. */
    std::string compression;
};

} // namespace Korvel::App
