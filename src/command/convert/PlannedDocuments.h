#pragma once

#include "PlannedDocument.h"

#include <optional>

namespace Korvel::App {

/** Hands out documents that are planned, one after another. Used on the main thread. */
class PlannedDocuments
{
public:
    virtual ~PlannedDocuments() = default;

    /**
     * The next document; nothing where there is none, or none yet.
     *
     * @param mayWait  whether to wait for one that is being opened
     * @throws Interrupted  a signal came meanwhile
     */
    virtual std::optional<PlannedDocument> Next(bool mayWait) = 0;

    /** Whether all were handed out. */
    virtual bool IsAtEnd() const = 0;
};

} // namespace Korvel::App
