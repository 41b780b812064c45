#pragma once

#include "PageEngine.h"

#include <vector>

namespace Korvel::Worker {

/**
 * Puts vowels of southern Asia that are drawn before their consonant behind it, as they are spoken
 * and written down.
 */
void OrderSyllables(std::vector<TextCharacter>& characters);

} // namespace Korvel::Worker
