#pragma once

#include "Run.h"

#include <vector>

#include <QRectF>

namespace Korvel::Worker {

/** Runs on one baseline, in the order in which they are read. */
struct RunLine
{
    std::vector<const Run*> runs;
    QRectF box;
    double baseline = 0;
    /** The largest of its characters. */
    double em = 0;
    /** The em of its middle word by size: signs may be larger than what they stand in. */
    double usualEm = 0;
};

/** Lines that follow each other in one column, or over the whole width of a page. */
using Region = std::vector<RunLine>;

/**
 * The regions of a page in the order in which they are read.
 *
 * The method is the recursive XY cut of G. Nagy and S. Seth ("Hierarchical representation of
 * optically scanned documents", 1984). Its vertical cuts go along rivers of whitespace, as T.
 * Breuel looks for them ("Two geometric algorithms for layout analysis", 2002); lines that reach
 * over a river end the columns beside it. A river parts columns where what is beside it is drawn
 * one after the other, or is prose on both sides: else it parts the cells of a table, which stays
 * in rows. What is left uncut stays in the order in which it is drawn, unless that goes up again.
 *
 * @param runs  as they are drawn; they live as long as the answer
 */
std::vector<Region> InReadingOrder(const std::vector<Run>& runs);

} // namespace Korvel::Worker
