#include "PlacedResults.h"

#include "LocalFileSystem.h"

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

} // namespace

PlacedResults::PlacedResults(std::shared_ptr<LocalFileSystem> files, ResultPlan& plan,
                             OnPlaced placed)
    : files(std::move(files)), plan(plan), placed(std::move(placed))
{
}

ioPath PlacedResults::GetTempFolder()
{
    return files->GetTempFolder();
}

bool PlacedResults::RemoveFolder(const ioPath& folder)
{
    return files->RemoveFolder(folder);
}

bool PlacedResults::Exists(const ioPath&)
{
    return false;
}

bool PlacedResults::CreateFolder(const ioPath& folder)
{
    return files->CreateFolder(folder);
}

bool PlacedResults::Move(const ioPath& from, const ioPath& to)
{
    const QString wanted = QString::fromStdString(to.utf8string());
    auto& results = plan.Results();
    const auto result = std::find_if(results.begin(), results.end(), [&wanted](const auto& one) {
        return !one.isPlaced && one.path == wanted;
    });
    if (result == results.end() || (result->page == 0 && !takesWhole))
        return false;
    if (plan.IsInMemory() ? !Read(from, *result) : !Place(from, *result))
        return false;
    result->isPlaced = true;
    placed(*result);
    return true;
}

bool PlacedResults::Read(const ioPath& from, ResultPlan::Result& result)
{
    QFile file(QString::fromStdString(from.utf8string()));
    if (file.open(QFile::ReadOnly))
        result.bytes = file.readAll();
    file.remove();
    if (result.bytes.isEmpty())
        whyRefused = QStringLiteral("cannot read what was made: ") + file.errorString();
    return !result.bytes.isEmpty();
}

bool PlacedResults::Place(const ioPath& from, ResultPlan::Result& result)
{
    if (!MoveTo(from, result))
        return false;
    // Some file systems take a file and then have no space for what is in it.
    if (QFileInfo(result.path).size() > 0)
        return true;
    whyRefused = QStringLiteral("%1 is missing or empty").arg(result.path);
    return false;
}

bool PlacedResults::MoveTo(const ioPath& from, ResultPlan::Result& result)
{
    for (int move = 0; move < mostMoves; ++move) {
        const ioPath to(result.path.toStdString());
        if (files->Move(from, to))
            return true;
        const int problem = errno;
        if (problem != EEXIST && !files->Exists(to)) {
            whyRefused = QStringLiteral("cannot write %1: %2")
                             .arg(result.path, QString::fromLocal8Bit(std::strerror(problem)));
            return false;
        }
        plan.PlanAnew(result, *files);
    }
    whyRefused =
        QStringLiteral("cannot write %1; other programs keep taking the name").arg(result.wanted);
    return false;
}

} // namespace Korvel::PDF::Converter
