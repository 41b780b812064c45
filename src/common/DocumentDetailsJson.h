#pragma once

#include "DocumentDetails.h"

#include <QJsonObject>

namespace Korvel::PDF {

/** What a worker answers of what is in a document; docs/worker-protocol.md lists the members. */
QJsonObject ToJson(const DocumentDetails& details);

/** What such an answer tells. */
DocumentDetails ToDocumentDetails(const QJsonObject& object);

} // namespace Korvel::PDF
