#pragma once

#include "DrawRows.h"
#include "PictureShape.h"

#include <cstdint>

namespace Korvel::Worker {

/** How many bytes WritePixels writes. */
std::uint64_t BytesOfPixels(const PictureShape& shape);

/**
 * Writes the pixels of a picture and nothing else, from top to bottom: four bytes each, blue,
 * green, red and opacity, or one of gray, and each row as long as WorkerProtocol::BytesOfRow says.
 *
 * What `draw` throws is passed on.
 *
 * @param file  an open descriptor
 * @throws RequestError  "cannot-write"
 */
void WritePixels(int file, const PictureShape& shape, const DrawRows& draw);

} // namespace Korvel::Worker
