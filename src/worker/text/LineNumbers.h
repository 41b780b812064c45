#pragma once

#include "Affine.h"
#include "Run.h"
#include "TextPage.h"

#include <vector>

namespace Korvel::Worker {

/**
 * Takes the numbers of lines out that stand in the margin of prose, as manuscripts have them: they
 * belong to no sentence. A number that a table or a listing has in front of each row stays.
 *
 * @param shown  takes points of the runs' frame to the page as it is shown
 * @return the numbers, a block for each column of them
 */
std::vector<TextBlock> TakeLineNumbers(std::vector<Run>& runs, const Affine& shown);

} // namespace Korvel::Worker
