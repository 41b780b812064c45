#include "PlacedResults.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <QFile>
#include <QFileInfo>

namespace Korvel::PDF::Converter {

namespace {

/** Each time another program was quicker, so only a file system that lies comes to an end here. */
constexpr int mostMoves = 1000;

} // namespace

PlacedResults::PlacedResults(std::shared_ptr<IFileSystem> files,
                             std::vector<PlannedResult>& results, ChainListener& listener)
    : ForwardingFileSystem(std::move(files)), results(results), listener(listener)
{
}

bool PlacedResults::Exists(const ioPath&)
{
    return false;
}

bool PlacedResults::Move(const ioPath& from, const ioPath& to)
{
    const QString wanted = QString::fromStdString(to.utf8string());
    const auto result = std::find_if(results.begin(), results.end(), [&wanted](const auto& one) {
        return !one.isPlaced && one.path == wanted;
    });
    if (result == results.end() || (result->page == 0 && !takesWhole))
        return false;
    if (const auto refusal = result->isInMemory ? Read(from, *result) : Place(from, *result)) {
        listener.Refused(*result, *refusal, errno);
        return false;
    }
    result->isPlaced = true;
    listener.Placed(*result);
    return true;
}

std::optional<PlacedResults::Refusal> PlacedResults::Read(const ioPath& from, PlannedResult& result)
{
    QFile file(QString::fromStdString(from.utf8string()));
    if (file.open(QFile::ReadOnly))
        result.bytes = file.readAll();
    const int problem = errno;
    file.remove();
    errno = problem;
    return result.bytes.isEmpty() ? std::optional(Refusal::Unreadable) : std::nullopt;
}

std::optional<PlacedResults::Refusal> PlacedResults::Place(const ioPath& from,
                                                           PlannedResult& result)
{
    for (int move = 0; move < mostMoves; ++move) {
        const ioPath to(result.path.toStdString());
        if (inner->Move(from, to)) {
            // Some file systems take a file and then have no space for what is in it.
            const bool isEmpty = QFileInfo(result.path).size() == 0;
            return isEmpty ? std::optional(Refusal::Empty) : std::nullopt;
        }
        const int problem = errno;
        const bool isTaken = problem == EEXIST || inner->Exists(to);
        errno = problem;
        if (!isTaken)
            return Refusal::CannotWrite;
        if (!listener.PlanAnew(result)) {
            errno = problem;
            return Refusal::Taken;
        }
    }
    return Refusal::KeepsBeingTaken;
}

} // namespace Korvel::PDF::Converter
