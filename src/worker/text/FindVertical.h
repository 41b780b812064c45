#pragma once

#include "PageEngine.h"

#include <vector>

namespace Korvel::Worker {

/**
 * For each character whether it is in a line that is written downwards. Readings that are drawn
 * beside such a line leave few of it at a time: then what is near decides.
 */
std::vector<bool> FindVertical(const std::vector<TextCharacter>& characters);

} // namespace Korvel::Worker
