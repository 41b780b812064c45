#pragma once

#include "ReadingOrder.h"
#include "Run.h"

#include <vector>

namespace Korvel::Worker {

/** A note that stands in the margin. */
struct MarginNote
{
    std::vector<Run> runs;
    /** Whether it stands before the lines of a paragraph, from the first one on. */
    bool isHeading = false;
};

/** What is taken out of the margins of a page, and where the prose ends that it stands beside. */
struct MarginNotes
{
    std::vector<MarginNote> notes;
    double bottom = 0;
};

/**
 * Takes the notes out that stand beside prose in smaller letters, where none of its lines reaches,
 * and that would be read within its sentences. What stands before a row or an item that it names
 * stays, and so do cells and the numbers of a listing.
 *
 * @param order  the runs as they are read with the notes; left alone, unlike them
 */
MarginNotes TakeMarginNotes(std::vector<Run>& runs, const std::vector<Region>& order);

} // namespace Korvel::Worker
