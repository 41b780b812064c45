#pragma once

#include "PageView.h"
#include "PictureLook.h"

#include <QJsonObject>
#include <QString>

namespace Korvel::Worker {

/**
 * What a request wants to be shown of pages.
 *
 * @throws RequestError  "bad-request"
 */
PageView ViewOf(const QJsonObject& request);

/**
 * What the pictures are to be like that a request wants.
 *
 * @param format  one of pictures
 * @throws RequestError  "bad-request"; "unsupported-format": the format has no such pictures
 */
PictureLook LookOf(const QJsonObject& request, const QString& format);

} // namespace Korvel::Worker
