#pragma once

#include "DrawRows.h"
#include "Output.h"
#include "PictureShape.h"

namespace Korvel::Worker {

/**
 * Writes a baseline JPEG, of three samples a pixel where the rows are not gray, with its
 * resolution: 166,459 dots per inch at most.
 *
 * @param quality  from 1 to 100
 * @throws RequestError  "cannot-render": a side of more than 65,500 pixels; "cannot-write"
 */
void WriteJpeg(Output& into, const PictureShape& shape, int quality, const DrawRows& draw);

} // namespace Korvel::Worker
