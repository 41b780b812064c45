#pragma once

#include "ReadingOrder.h"
#include "TextPage.h"

#include <vector>

namespace Korvel::Worker {

/**
 * The words of a line in the order in which they are read, with what is written from the right as
 * it is typed. Words whose letters are drawn in parts, as where a font moves marks, are put
 * together.
 */
std::vector<TextWord> WordsOf(const RunLine& line);

} // namespace Korvel::Worker
