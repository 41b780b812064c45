#pragma once

#include "Glyph.h"
#include "Run.h"

#include <vector>

namespace Korvel::Worker {

/**
 * Joins glyphs, in the order in which they are drawn, into words and runs. Accents join the letters
 * that they are drawn on, and what is drawn over itself is there once.
 */
std::vector<Run> FindRuns(const std::vector<Glyph>& glyphs);

} // namespace Korvel::Worker
