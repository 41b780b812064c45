#pragma once

#include <QByteArray>
#include <QImage>
#include <QString>

namespace Korvel::Worker {

/** Whether pictures can be made in this format: "png", "jpg", "tif", "bmp", "webp". */
bool IsPictureFormat(const QString& format);

inline constexpr int defaultQuality = 90;

/**
 * The picture as a file in the format, its resolution included.
 *
 * @param quality  from 1 to 100; for the formats "jpg" and "webp"
 * @throws Failure  "cannot-render": the picture is too large for the format
 */
QByteArray Encode(const QImage& picture, const QString& format, int quality);

} // namespace Korvel::Worker
