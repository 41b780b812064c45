#pragma once

#include "Encoding.h"

#include <QByteArray>
#include <QImage>
#include <QString>

namespace Korvel::Worker {

/** Whether pictures can be made in this format. */
bool IsPictureFormat(const QString& format);

/**
 * The picture as a file, its resolution included: in a "jpg" 166,459 dots per inch at most.
 *
 * @param picture  of the format RGB32 or Grayscale8
 * @throws RequestError  "cannot-render": the picture is too large for the format
 * @throws std::bad_alloc
 */
QByteArray Encode(QImage picture, const Encoding& encoding);

} // namespace Korvel::Worker
