#pragma once

#include "Compression.h"
#include "DrawRows.h"
#include "Output.h"
#include "PictureShape.h"

namespace Korvel::Worker {

/**
 * Writes a PNG with its resolution: 8 bits a sample, without transparency, gray where every pixel
 * is gray.
 *
 * Where a pixel is not gray after rows that were, all rows are drawn again.
 *
 * @throws RequestError  "cannot-render": a row of more than 2 GB; "cannot-write"
 * @throws std::bad_alloc
 */
void WritePng(Output& into, const PictureShape& shape, Compression compression,
              const DrawRows& draw);

} // namespace Korvel::Worker
