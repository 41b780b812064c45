#pragma once

#include "PagePart.h"
#include "WorkerProtocol.h"

#include <optional>
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
    /** Pages that are nothing but a JPEG become its bytes; the resolution is for the others. */
    bool isNative = false;
    /**
     * Pixels that a picture is to fit into, in place of the resolution; where one is 0, as many as
     * follow from the other. Not valid for none.
     */
    QSize size;
    bool gray = false;
    /** Nothing but black and white, and whether dots make up for what is between. */
    bool mono = false;
    bool dithers = false;
    /** Nothing where nothing is drawn, in place of white. */
    bool transparent = false;
    /** Which box of a page is shown; empty for its crop box. */
    std::string box;
    /** What is shown of that. */
    std::optional<PagePart> part;
    /** By how many degrees pictures are turned clockwise; empty for none. */
    std::string rotation;
    /** The quality of JPEG and WebP, from 1 to 100; 0 for the default. */
    int quality = 0;
    /** How a PNG is compressed, "fast" or "small"; empty for the default. */
    std::string compression;
    /** Whether words are put together that are parted at the end of a line, as said or not said. */
    bool dehyphenates = false;
    bool keepsHyphens = false;
    /** Whether a text keeps words where they stand on the page. */
    bool isLaidOut = false;
};

} // namespace Korvel::App
