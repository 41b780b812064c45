#pragma once

#include "PictureShape.h"
#include "Rows.h"

#include <functional>

namespace Korvel::Worker {

/**
 * Gives the rows of a picture from the row `first` on, as many as lie in memory together, at least
 * one.
 *
 * The rows need to stay where they are only until it is called again. Rows are asked for from top
 * to bottom; after that, or at any row on the way, all may be asked for once more from row 0 on.
 */
using DrawRows = std::function<Rows(int first)>;

/** Hands all rows of a picture to `take(first, rows)`, as they come. */
template <typename Take>
void ForEachPiece(const PictureShape& shape, const DrawRows& draw, Take take)
{
    for (int first = 0; first < shape.height;) {
        const Rows rows = draw(first);
        take(first, rows);
        first += rows.count;
    }
}

} // namespace Korvel::Worker
