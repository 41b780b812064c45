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
 * has all of its pixels in memory, each other format a few rows beside those that `draw` gives. A
 * picture has the same bytes whether its rows come at once or in pieces.
 *
 * What `draw` throws is passed on. Nothing is drawn where the picture is too large for its format.
 *
 * @throws RequestError  "cannot-render": the picture is too large for the format; "cannot-write"
 * @throws std::bad_alloc
 */
void WritePicture(Output& into, const PictureShape& shape, const Encoding& encoding,
                  const DrawRows& draw);

} // namespace Korvel::Worker
