#pragma once

#include "PageEngine.h"

#include <vector>

namespace Korvel::Worker {

/**
 * Reads the letters of TeX's fonts of bitmaps, which are called by their codes, "a97" and so on:
 * lists of characters have such names for dingbats, which documents tell then. The codes are those
 * of the encoding T1 ("Cork"), or of the signs beside it, TS1, where they stand in no word. Of
 * these, the bullet of lists is read as well where nothing but its code is told.
 */
void NameTexLetters(std::vector<TextCharacter>& characters);

} // namespace Korvel::Worker
