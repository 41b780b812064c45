#pragma once

#include "DocumentInfo.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>

namespace Korvel::PDF {

/**
 * What the answer to a request to open tells of the document; docs/worker-protocol.md lists the
 * members. There is no "encryption" where the document was not encrypted.
 */
QJsonObject ToJson(const DocumentInfo& info);

/** What such an answer tells; words that are not known are read as the first or vaguest ones. */
DocumentInfo ToDocumentInfo(const QJsonObject& answer);

/** "RC4", "AES" or "other". */
QString WordFor(EncryptionMethod method);

/** "empty", "user", "owner" or "both". */
QString WordFor(OpenedWith password);

/** The names of what is allowed, sorted. */
QStringList WordsFor(const Permissions& permissions);

} // namespace Korvel::PDF
