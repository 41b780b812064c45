#pragma once

#include "DrawRows.h"
#include "Output.h"
#include "PictureShape.h"

namespace Korvel::Worker {

/**
 * Writes a BMP of 24 bits a pixel, or of 8 and a palette of grays where the rows are gray, with its
 * resolution.
 *
 * @throws RequestError  "cannot-render": more than 4 GB of pixels; "cannot-write"
 */
void WriteBmp(Output& into, const PictureShape& shape, const DrawRows& draw);

} // namespace Korvel::Worker
