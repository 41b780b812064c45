#pragma once

#include "Affine.h"
#include "ReadingOrder.h"
#include "TextPage.h"

#include <vector>

namespace Korvel::Worker {

/**
 * Parts the lines of regions into paragraphs: where the distance between lines, the size of the
 * letters or an indented line begins one.
 *
 * @param shown  takes points of the runs' frame to the page as it is shown
 */
std::vector<TextBlock> FindParagraphs(const std::vector<Region>& regions, const Affine& shown);

} // namespace Korvel::Worker
