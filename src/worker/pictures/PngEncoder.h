#pragma once

#include "Compression.h"

#include <QByteArray>
#include <QImage>

namespace Korvel::Worker {

/**
 * The picture as a PNG with its resolution: 8 bits a sample, without transparency, gray where every
 * pixel is gray.
 *
 * @param picture  of the format RGB32 or Grayscale8; what is packed small has its memory, if moved
 * @throws RequestError  "cannot-render"
 * @throws std::bad_alloc
 */
QByteArray EncodePng(QImage picture, Compression compression);

} // namespace Korvel::Worker
