#pragma once

#include "WorkerProtocol.h"

#include <QString>

namespace Korvel::Worker {

/** What a text is to be like. */
struct TextLook
{
    /** One of those that have a TextFrame. */
    QString format = WorkerProtocol::Format::txt;
    /** Whether words that are parted at the end of a line are put together, in a txt. */
    bool dehyphenates = true;
    /** Whether a txt keeps words where they stand, as a typewriter would. */
    bool isLaidOut = false;
    /** How large the pixels are that an hOCR counts in. */
    double dotsPerInch = WorkerProtocol::defaultResolution;
    /** Whether it is joined with others, and lacks what stands around the pages of a whole one. */
    bool isPart = false;
};

} // namespace Korvel::Worker
