#pragma once

#include <QByteArray>
#include <QImage>
#include <QString>

namespace Korvel::Worker {

/** Whether pictures can be made in this format: "png", "jpg", "tif", "bmp", "webp". */
bool IsPictureFormat(const QString& format);

/**
 * The picture as a file in the format, its resolution included.
 *
 * @throws Failure  "cannot-render": the picture is too large for the format
 */
QByteArray Encode(const QImage& picture, const QString& format);

} // namespace Korvel::Worker
