#pragma once

#include "ConversionOutcome.h"

namespace Korvel::PDF::Converter {

/** Decides on what a chain cannot know, and is told what becomes of its document; on its thread. */
class ChainListener
{
public:
    virtual ~ChainListener() = default;

    virtual void Progressed(double part) = 0;

    /** A page has failed while others have not. */
    virtual void PageFailed(const PageFanOut::PageFailure&) {}

    /**
     * Chooses another path for a result, as something is at the one that it has; an empty one where
     * the result is left away then.
     *
     * @return false when it cannot be put anywhere
     */
    virtual bool PlanAnew(PlannedResult& result) = 0;

    virtual void Placed(const PlannedResult&) {}

    /** The name of a document that is not as it was when it was opened; null for none. */
    virtual QString ChangedSource() const = 0;

    /** The last call, from the event loop, once; may destroy the chain. */
    virtual void Ended(const ConversionOutcome& outcome) = 0;
};

} // namespace Korvel::PDF::Converter
