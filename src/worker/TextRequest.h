#pragma once

#include "TextLook.h"

#include <QJsonObject>
#include <QString>

namespace Korvel::Worker {

/**
 * What the text is to be like that a request wants.
 *
 * @param format  one of texts
 * @throws RequestError  "bad-request"
 */
TextLook TextLookOf(const QJsonObject& request, const QString& format);

} // namespace Korvel::Worker
