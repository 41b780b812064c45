#pragma once

#include "ChainListener.h"
#include "ForwardingFileSystem.h"

#include <memory>
#include <vector>

#include <QHash>

namespace Korvel::PDF::Converter {

/**
 * Reads results, or puts each where it is planned, and where another program has taken that place
 * meanwhile, where it is planned then. Used on the chain's thread.
 *
 * It says that nothing exists, so that TempFileWrapper, which asks before it moves, takes no
 * numbered name of its own: a name is no regular expression, by which it would look for one.
 */
class PlacedResults : public ForwardingFileSystem
{
public:
    /**
     * @param files     moves results, and tells what is there
     * @param planned   live longer than this
     * @param listener  plans anew, and is told of those that are placed
     */
    PlacedResults(std::shared_ptr<IFileSystem> files, std::vector<PlannedResult>& planned,
                  ChainListener& listener);

    bool Exists(const ioPath& path) override;
    bool Move(const ioPath& from, const ioPath& to) override;

    /** Has the picture of a page, or its bytes, be its result; nothing lies anywhere then. */
    void Keep(int page, const PagePicture& picture) { ResultOf(page).picture = picture; }
    void Keep(int page, const QByteArray& bytes) { ResultOf(page).bytes = bytes; }

    /** From now on a result of several pages is put nowhere, as one of them is missing. */
    void RefuseWhole() { takesWhole = false; }

private:
    using Refusal = PlannedResult::Refusal;

    PlannedResult& ResultOf(int page);
    bool Read(const ioPath& from, PlannedResult& result);
    bool Place(const ioPath& from, PlannedResult& result);
    bool MoveTo(const ioPath& from, PlannedResult& result);
    static bool Refuse(PlannedResult& result, Refusal why, const QString& text);

    ChainListener& listener;
    /** The results by the paths that they had at first, which the chain knows. */
    QHash<QString, PlannedResult*> results;
    bool takesWhole = true;
};

} // namespace Korvel::PDF::Converter
