#pragma once

#include "PageFanOut.h"
#include "PlannedResult.h"
#include "TextReport.h"

namespace Korvel::PDF::Converter {

/** Is told what becomes of a document in its chain, on the chain's thread. */
class ChainListener
{
public:
    virtual ~ChainListener() = default;

    virtual void Progressed(double part) = 0;

    /** A page has failed while others have not. */
    virtual void PageFailed(const PageFanOut::PageFailure&) {}

    virtual void Reported(const TextReport& report) = 0;

    /**
     * Chooses another path for a result, as something is at the one that it has.
     *
     * @return false when there is to be none
     */
    virtual bool PlanAnew(PlannedResult& result) = 0;

    virtual void Placed(const PlannedResult&) {}

    /** Why a result is put nowhere. */
    enum class Refusal {
        Unreadable,      ///< it is wanted in memory, and cannot be read
        CannotWrite,     ///< it cannot be put at its path
        Taken,           ///< something is there, and there is no other path for it
        KeepsBeingTaken, ///< other programs take each path that is chosen
        Empty            ///< nothing is in it, as there was no space for more
    };

    /** @param problem  as errno tells it */
    virtual void Refused(const PlannedResult& result, Refusal why, int problem) = 0;

    /** The last call, from the event loop, once; may destroy the chain. */
    virtual void Ended() = 0;
};

} // namespace Korvel::PDF::Converter
