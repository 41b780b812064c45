#pragma once

#include "Affine.h"
#include "MarginNotes.h"
#include "TextPage.h"

#include <vector>

namespace Korvel::Worker {

/**
 * Puts notes between the blocks of a page that they stand beside: before the paragraph that one is
 * the heading of, else behind the next paragraph that ends with a sentence.
 *
 * @param shown  takes points of the runs' frame to the page as it is shown
 */
std::vector<TextBlock> PlaceMarginNotes(std::vector<TextBlock> blocks, const MarginNotes& margins,
                                        const Affine& shown);

} // namespace Korvel::Worker
