#pragma once

#include "PageEngine.h"

#include <vector>

namespace Korvel::Worker {

/**
 * Names the signs of TeX's fonts of mathematics, whose own names no list of characters has, so that
 * engines tell the codes that they have in their font: a sum was a `P`, an angle an `h`. The codes
 * are those of the encodings OMX and OMS of D. Knuth ("Computer Modern Typefaces", 1986). Large
 * signs, which all hang below their baseline, are put to the baseline of the formula.
 */
void NameTexSigns(std::vector<TextCharacter>& characters);

} // namespace Korvel::Worker
