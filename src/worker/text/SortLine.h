#pragma once

#include "Run.h"

#include <vector>

namespace Korvel::Worker {

/**
 * Puts the runs of a line in the order in which a line of that direction is read: what is written
 * the other way stays as it is. In a line from the right these are names, and numbers, which may be
 * drawn in parts.
 */
void SortLine(std::vector<const Run*>& runs, bool isRightToLeft);

} // namespace Korvel::Worker
