#pragma once

#include "DrawRows.h"
#include "Encoding.h"
#include "Output.h"
#include "PictureShape.h"

namespace Korvel::Worker {

/** Whether pictures can be made in this format. */
bool IsPictureFormat(const QString& format);

/**
 * Writes a picture, its resolution included, with no more memory than its format wants: a "webp"
 * has all of its pixels in memory, a "png" what it has noted of the rows that come first (a byte
 * for each of at most 32 million pixels), each other format a few rows beside those that `draw`
 * gives. Pixels are the same whether rows come at once or in pieces; bytes, too, but for a "png".
 *
 * What `draw` throws is passed on. Nothing is drawn where the picture is too large for its format.
 *
 * @throws RequestError  "cannot-render": the picture is too large for the format; "cannot-write"
 * @throws std::bad_alloc
 */
void WritePicture(Output& into, const PictureShape& shape, const Encoding& encoding,
                  const DrawRows& draw);

} // namespace Korvel::Worker
