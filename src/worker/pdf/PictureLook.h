#pragma once

#include "BlackAndWhite.h"
#include "Encoding.h"
#include "PixelFormat.h"

#include <optional>

#include <QSize>

namespace Korvel::Worker {

/** What the pictures of pages are like. */
struct PictureLook
{
    double dotsPerInch = WorkerProtocol::defaultResolution;
    /**
     * The pixels that a page is to fit into, in place of a resolution; where one is 0, as many as
     * follow from the other. Not valid for none.
     */
    QSize size;
    PixelFormat pixels = PixelFormat::Bgrx;
    /** How grays become black and white; nothing where they do not. */
    std::optional<BlackAndWhite> blackAndWhite;
    Encoding encoding;
};

} // namespace Korvel::Worker
