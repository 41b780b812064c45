#pragma once

#include "DrawRows.h"
#include "Output.h"
#include "PictureShape.h"

namespace Korvel::Worker {

/**
 * Writes a WebP with its resolution, with transparency where the rows have it.
 *
 * @param quality  from 1 to 100, which loses nothing
 * @throws RequestError  "cannot-render": a side of more than 16,383 pixels; "cannot-write"
 * @throws std::bad_alloc
 */
void WriteWebp(Output& into, const PictureShape& shape, int quality, const DrawRows& draw);

} // namespace Korvel::Worker
