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
    /** From 1 to 100; of "jpg" and "webp". */
    int quality = WorkerProtocol::defaultQuality;
    /** Of "png". */
    Compression compression = Compression::Fast;
};

} // namespace Korvel::Worker
