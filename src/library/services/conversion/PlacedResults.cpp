#include "PlacedResults.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <QFile>
#include <QFileInfo>

namespace Korvel::PDF::Converter {

namespace {

/** Each time another program was quicker, so only a file system that lies comes to an end here. */
constexpr int mostMoves = 1000;

QString WhyNotWritten(const QString& path, int problem)
{
    const QString text = QStringLiteral("cannot write ") + path;
    const QFileInfo there(path);
    if (there.isDir() && !there.isSymLink())
        return text + QStringLiteral("; a folder has that name");
    return problem == 0
               ? text
               : text + QStringLiteral(": ") + QString::fromLocal8Bit(std::strerror(problem));
}

} // namespace

PlacedResults::PlacedResults(std::shared_ptr<IFileSystem> files,
                             std::vector<PlannedResult>& planned, ChainListener& listener)
    : ForwardingFileSystem(std::move(files)), listener(listener)
{
    for (PlannedResult& result : planned)
        results.insert(result.path, &result);
}

bool PlacedResults::Exists(const ioPath&)
{
    return false;
}

bool PlacedResults::Move(const ioPath& from, const ioPath& to)
{
    PlannedResult* const result = results.value(QString::fromStdString(to.utf8string()));
    if (!result || result->isPlaced || (result->page == 0 && !takesWhole))
        return false;
    if (!(result->isInMemory ? Read(from, *result) : Place(from, *result)))
        return false;
    result->isPlaced = true;
    listener.Placed(*result);
    return true;
}

/** That of a page which was asked for. */
PlannedResult& PlacedResults::ResultOf(int page)
{
    return **std::find_if(results.begin(), results.end(),
                          [page](const PlannedResult* result) { return result->page == page; });
}

bool PlacedResults::Read(const ioPath& from, PlannedResult& result)
{
    if (!result.picture.IsNull() || !result.bytes.isEmpty())
        return true;
    QFile file(QString::fromStdString(from.utf8string()));
    if (file.open(QFile::ReadOnly))
        result.bytes = file.readAll();
    file.remove();
    return !result.bytes.isEmpty() ||
           Refuse(result, Refusal::Failed,
                  QStringLiteral("cannot read what was made: ") + file.errorString());
}

bool PlacedResults::Place(const ioPath& from, PlannedResult& result)
{
    if (!MoveTo(from, result))
        return false;
    // Some file systems take a file and then have no space for what is in it.
    return QFileInfo(result.path).size() > 0 ||
           Refuse(result, Refusal::Empty,
                  QStringLiteral("%1 is missing or empty").arg(result.path));
}

bool PlacedResults::MoveTo(const ioPath& from, PlannedResult& result)
{
    for (int move = 0; move < mostMoves; ++move) {
        const ioPath to(result.path.toStdString());
        if (inner->Move(from, to))
            return true;
        const int problem = errno;
        const bool isTaken = problem == EEXIST || inner->Exists(to);
        if (!isTaken || !listener.PlanAnew(result))
            return Refuse(result, isTaken ? Refusal::Taken : Refusal::Failed,
                          WhyNotWritten(result.path, problem));
        if (result.path.isEmpty())
            return false; // it is left away
    }
    return Refuse(
        result, Refusal::Failed,
        QStringLiteral("cannot write %1; other programs keep taking the name").arg(result.wanted));
}

bool PlacedResults::Refuse(PlannedResult& result, Refusal why, const QString& text)
{
    result.refusal = why;
    result.whyRefused = text;
    return false;
}

} // namespace Korvel::PDF::Converter
