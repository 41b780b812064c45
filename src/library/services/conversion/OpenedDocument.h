#pragma once

#include "DocumentInfo.h"
#include "PreparedCopy.h"
#include "SourceState.h"

#include <memory>

#include <QString>

namespace Korvel::PDF::Converter {

/** A document that was opened, with what its pages can be made of without opening it again. */
class OpenedDocument
{
public:
    QString path;
    DocumentInfo info;
    /** From before it was opened. */
    SourceState state;
    /** Without encryption and damage; null where the document has neither. */
    std::shared_ptr<const TemporaryFile> copy;
};

} // namespace Korvel::PDF::Converter
