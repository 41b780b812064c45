#pragma once

#include <string>

#include <QSize>

namespace Korvel::App {

/** Which pages are converted, and what the results look like. */
struct PageOptions
{
    /** Page ranges as given; empty for all pages. */
    std::string ranges;
    /** Dots per inch. */
    double resolution = 150;
    /** Pixels that a picture is to fit into, in place of the resolution; empty for none. */
    QSize size;
    bool gray = false;
    /** Of JPEG and WebP, from 1 to 100; 0 for the default. */
    int quality = 0;
    /** Of PNG, "fast" or "small"; empty for the default. */
    std::string compression;
};

} // namespace Korvel::App
