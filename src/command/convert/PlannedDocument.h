#pragma once

#include "Document.h"
#include "PlannedResult.h"
#include "Result.h"

#include <memory>
#include <optional>
#include <vector>

#include <QStringList>

namespace Korvel::App {

using PDF::Converter::PlannedResult;

/** A document that is open to the run, or several that become one, and what is to be made of it. */
struct PlannedDocument
{
    std::unique_ptr<Document> document;
    /** The results in page order; there may be none. */
    std::vector<PlannedResult> results;
    /** What comes behind the document in one PDF. */
    std::vector<std::unique_ptr<Document>> further = {};
    /** What several become, as messages call it. */
    std::optional<Input> whole = {};

    /** The document and the further ones. */
    std::vector<Document*> All() const;

    /** What messages and events are about. */
    const Input& Named() const { return whole ? *whole : document->GetInput(); }

    /** The inputs' names where several become one; empty elsewhere. */
    QStringList MergedNames() const;
};

/** The results that are not left away. */
std::vector<Result> ResultsOf(const std::vector<PlannedResult>& planned);

} // namespace Korvel::App
