#pragma once

#include "IFileSystem.h"
#include "ResultPlan.h"

#include <functional>
#include <memory>

namespace Korvel::PDF {
class LocalFileSystem;
}

namespace Korvel::PDF::Converter {

/**
 * Hands results over as bytes, or puts every result where the plan wants it, and where another
 * program has taken that place meanwhile, where the plan wants it then. Used on the engine's
 * thread.
 *
 * It says that nothing exists, so that TempFileWrapper, which asks before it moves, takes no
 * numbered name of its own.
 */
class PlacedResults : public IFileSystem
{
public:
    using OnPlaced = std::function<void(const ResultPlan::Result& result)>;

    /**
     * @param plan    lives longer than this
     * @param placed  called for each result that is in its place
     */
    PlacedResults(std::shared_ptr<LocalFileSystem> files, ResultPlan& plan, OnPlaced placed);

    ioPath GetTempFolder() override;
    bool RemoveFolder(const ioPath& folder) override;
    bool Exists(const ioPath& path) override;
    bool Move(const ioPath& from, const ioPath& to) override;
    bool CreateFolder(const ioPath& folder) override;

    /** From now on a result of several pages is put nowhere, as one of them is missing. */
    void RefuseWhole() { takesWhole = false; }

    /** Why a result could not be put in its place; empty when each could. */
    const QString& WhyRefused() const { return whyRefused; }

private:
    bool Read(const ioPath& from, ResultPlan::Result& result);
    bool MoveTo(const ioPath& from, ResultPlan::Result& result);
    bool Place(const ioPath& from, ResultPlan::Result& result);

    const std::shared_ptr<LocalFileSystem> files;
    ResultPlan& plan;
    const OnPlaced placed;
    QString whyRefused;
    bool takesWhole = true;
};

} // namespace Korvel::PDF::Converter
