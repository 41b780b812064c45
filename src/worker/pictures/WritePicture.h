#pragma once

#include "Encoding.h"
#include "NewFile.h"
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

/**
 * Writes a picture, its resolution included, with no more memory than its format wants: a "webp" has
 * all of its pixels in memory, each other format a few rows beside those that `draw` gives. Whether
 * all rows come at once makes no difference to the pixels that are written.
 *
 * What `draw` throws is passed on. Drawing does not begin where the picture is too large for its
 * format. The file is not kept yet.
 *
 * @throws RequestError  "cannot-render": the picture is too large for the format; "cannot-write"
 * @throws std::bad_alloc
 */
void WritePicture(NewFile& into, const PictureShape& shape, const Encoding& encoding,
                  const DrawRows& draw);

} // namespace Korvel::Worker
