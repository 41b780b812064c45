#pragma once

#include "Compression.h"
#include "WorkerProtocol.h"

#include <QString>

namespace Korvel::Worker {

/** How a picture becomes bytes. */
struct Encoding
{
    /** One of WorkerProtocol::Format, of a picture. */
    QString format;
    /** The quality of a "jpg" or "webp", from 1 to 100. */
    int quality = WorkerProtocol::defaultQuality;
    /** How a "png" is compressed. */
    Compression compression = Compression::Fast;
};

} // namespace Korvel::Worker
