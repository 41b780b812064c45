#pragma once

#include "Glyph.h"

#include <vector>

namespace Korvel::Worker {

/** Puts marks of letters that are drawn apart from them, as those are that a font moves, to these.
 */
void PlaceMarks(std::vector<Glyph>& glyphs);

} // namespace Korvel::Worker
