#pragma once

#include "Affine.h"
#include "Run.h"
#include "TextPage.h"

#include <vector>

#include <QPointF>

namespace Korvel::Worker {

/** How a word is read, in small signs of a syllabary close above its characters. */
struct Reading
{
    Run run;
    /** A point of the line that the word stands in. */
    QPointF word;
};

/** Takes the readings out, which stand between lines and belong to no sentence. */
std::vector<Reading> TakeReadings(std::vector<Run>& runs);

/**
 * Puts readings behind the paragraphs of their words, a line for those of each line.
 *
 * @param shown  takes points of the runs' frame to the page as it is shown
 */
std::vector<TextBlock> PlaceReadings(std::vector<TextBlock> blocks,
                                     const std::vector<Reading>& readings, const Affine& shown);

} // namespace Korvel::Worker
