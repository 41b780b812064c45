#pragma once

#include "Document.h"
#include "PlannedResult.h"

#include <memory>
#include <vector>

namespace Korvel::App {

/** A document that is open to the run, and what is to be made of it. */
struct PlannedDocument
{
    std::unique_ptr<Document> document;
    /** The results in page order; there may be none. */
    std::vector<PlannedResult> results;
};

} // namespace Korvel::App
