#pragma once

#include "ReadingOrder.h"

namespace Korvel::Worker {

/** Whether one may stand above or below a sign of the other, as the limits of a sum do. */
bool IsLimit(const RunLine& limit, const RunLine& line);

} // namespace Korvel::Worker
