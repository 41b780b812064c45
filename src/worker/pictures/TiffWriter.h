#pragma once

#include "DrawRows.h"
#include "Output.h"
#include "PictureShape.h"

namespace Korvel::Worker {

/**
 * Writes a TIFF packed by LZW, of three samples a pixel where the rows are not gray, with its
 * resolution; a BigTIFF where it could come to more than 4 GB.
 *
 * @throws RequestError  "cannot-render", "cannot-write"
 */
void WriteTiff(Output& into, const PictureShape& shape, const DrawRows& draw);

} // namespace Korvel::Worker
