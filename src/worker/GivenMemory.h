#pragma once

#include "FileDescriptor.h"

#include <QtGlobal>

namespace Korvel::Worker {

/**
 * The memory that was sent for a request before the request itself was. What was sent for earlier
 * ones, which nobody has taken, is let go of.
 *
 * @param channel  the socket that it comes over; -1 for none
 * @param request  its number
 * @throws RequestError  "cannot-write": none was sent
 */
PDF::FileDescriptor TakeMemory(int channel, qint64 request);

} // namespace Korvel::Worker
