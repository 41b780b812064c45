#pragma once

#include "Compression.h"
#include "DrawRows.h"
#include "Output.h"
#include "PictureShape.h"

namespace Korvel::Worker {

/**
 * Writes a PNG with its resolution: with transparency where the rows have it, else of one bit a
 * pixel where all are black or white, gray where every pixel is gray, with a palette where there
 * are few colors; and filtered where a sample says that it gets smaller by that.
 *
 * The rows that come first say which it is. Where a later row is not of that form, all rows are
 * drawn again.
 *
 * @throws RequestError  "cannot-render": a row of more than 2 GB; "cannot-write"
 * @throws std::bad_alloc
 */
void WritePng(Output& into, const PictureShape& shape, Compression compression,
              const DrawRows& draw);

} // namespace Korvel::Worker
