#pragma once

#include "PageFanOut.h"
#include "PlannedResult.h"

namespace Korvel::PDF::Converter {

/** Is told what becomes of a document in its chain, on the chain's thread. */
class ChainListener
{
public:
    virtual ~ChainListener() = default;

    virtual void Progressed(double part) = 0;

    /** A page has failed while others have not. */
    virtual void PageFailed(const PageFanOut::PageFailure&) {}

    /**
     * Chooses another path for a result, as something is at the one that it has.
     *
     * @return false when there is to be none
     */
    virtual bool PlanAnew(PlannedResult& result) = 0;

    virtual void Placed(const PlannedResult&) {}

    /** Why a result is put nowhere. */
    enum class Refusal {
        Failed, ///< it cannot be put at its path, or read
        Taken,  ///< something is there, and there is to be no other path for it
        Empty   ///< nothing is in it, as there was no space for more
    };

    /**
     * A result was put nowhere.
     *
     * @param text  what to tell people of it, such as "cannot write /out/1.png: Permission denied"
     */
    virtual void Refused(const PlannedResult& result, Refusal why, const QString& text) = 0;

    /** The last call, from the event loop, once; may destroy the chain. */
    virtual void Ended() = 0;
};

} // namespace Korvel::PDF::Converter
