#include "PlannedPaths.h"

#include "IFileSystem.h"
#include "PathText.h"

#include <QRegularExpression>

namespace Korvel::PDF::Converter {

void PlannedPaths::Remove(const QString& path)
{
    inputs.erase(path);
    nextNumbers.clear(); // its own may be free again
}

QString PlannedPaths::InputOf(const QString& path) const
{
    const auto found = inputs.find(path);
    return found == inputs.end() ? QString() : found->second;
}

QString PlannedPaths::FindFree(const QString& wanted, IFileSystem* fileSystem)
{
    const auto isFree = [&](const QString& path) {
        return inputs.count(path) == 0 &&
               !(fileSystem && fileSystem->Exists(ioPath(path.toStdString())));
    };
    const QString suffix = SuffixOf(wanted);
    const QString head = wanted.left(wanted.size() - suffix.size());
    const auto begun = nextNumbers.find(wanted);
    if (begun == nextNumbers.end() && isFree(wanted))
        return wanted;
    int number = begun == nextNumbers.end() ? 2 : begun->second;
    QString path;
    do {
        path = head + QStringLiteral("(%1)").arg(number++) + suffix;
    } while (!isFree(path));
    nextNumbers[wanted] = number - 1;
    return path;
}

bool IsNumbered(const QString& path, const QString& wanted)
{
    const QString suffix = SuffixOf(wanted);
    const QString head = wanted.left(wanted.size() - suffix.size());
    const QRegularExpression form('^' + QRegularExpression::escape(head) +
                                  QStringLiteral("(\\([1-9][0-9]*\\))?") +
                                  QRegularExpression::escape(suffix) + QStringLiteral("\\z"));
    return form.match(path).hasMatch();
}

} // namespace Korvel::PDF::Converter
