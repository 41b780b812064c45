#pragma once

#include "ConversionResult.h"
#include "PageFanOut.h"
#include "PlannedResult.h"

#include <optional>
#include <vector>

#include <QString>

namespace Korvel::PDF::Converter {

/** How the conversion of a document has ended, for those who find words for it. */
struct ConversionOutcome
{
    /** Why it has failed; nothing when each result is in its place, or left away. */
    std::optional<AbstractConverter::ErrorType> error = {};
    /** The page whose failure that is, where it is one's. */
    std::optional<PageFanOut::PageFailure> page = {};
    /** The document that was changed while it was converted, where that is why; else null. */
    QString changed = {};
    /** The first of the results that could not be put in their places, where that is why. */
    const PlannedResult* missing = nullptr;
    /** What the worker says of it; may be empty. */
    QString why = {};
    /** What kept a worker from being started, where one was not; else empty. */
    QString whyNotStarted = {};
    /** The pages that have failed while others have not, as they came. */
    std::vector<PageFanOut::PageFailure> failures = {};
    /** What its texts lack, in words to which the document's name can be added. */
    std::vector<ConversionResult::Note> notes = {};
};

} // namespace Korvel::PDF::Converter
