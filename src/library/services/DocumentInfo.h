#pragma once

#include "DocumentDetails.h"
#include "EncryptionInfo.h"

#include <map>
#include <optional>

#include <QString>

namespace Korvel::PDF {

/** What a PDF says of itself. */
struct DocumentInfo
{
    /** How many pages it has. */
    int pages = 0;
    /** It was encrypted, with whatever password, the empty one included. */
    bool encrypted = false;
    /** How; there when it was encrypted. */
    std::optional<EncryptionInfo> encryption;
    /** It opened only after its structure had been repaired. */
    bool repaired = false;
    /** The PDF version, such as "1.7". */
    QString version;
    /** The document information that is there, by name: "Title", "Author", "Producer" ... */
    std::map<QString, QString> properties;
    /** What is in it; there where WorkerSettings::wantsDetails. */
    std::optional<DocumentDetails> details;
};

} // namespace Korvel::PDF
