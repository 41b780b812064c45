#include "JournalFile.h"

#include "Failure.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

namespace Korvel::App {

namespace {

/** What every run writes first; whatever else begins a file, it is not a journal's. */
constexpr char beginning[] = R"({"event":"begun")";

Failure CannotRead(const QString& path, const char* reason, const QString& why)
{
    return {ExitCode::Input, reason,
            path.toStdString() + ": cannot read the journal: " + why.toStdString()};
}

Failure NoJournal(const QString& path)
{
    return {ExitCode::Input, "not-a-journal",
            path.toStdString() + " is no journal; name another file"};
}

Failure Damaged(const QString& path, qint64 at)
{
    return {ExitCode::Input, "not-a-journal",
            path.toStdString() + ": the line at byte " + std::to_string(at) +
                " is none of a journal; take it out, and what it told of is done again"};
}

/** Whether it is the first line of a run that may mean other things by its lines. */
bool IsOfLaterVersion(const QJsonObject& line)
{
    return line["version"].toInt() > journalVersion;
}

/** Whether a torn line can have been the first of a journal. */
bool CanBegin(const QByteArray& torn)
{
    return torn.startsWith(beginning) || QByteArray(beginning).startsWith(torn);
}

} // namespace

qint64 ReadJournal(const QString& path, qint64 from,
                   const std::function<void(const QJsonObject&)>& take)
{
    const QFileInfo info(path);
    const bool isThere = info.exists();
    if (isThere && !info.isFile())
        throw CannotRead(path, "unreadable", "it is not a regular file");
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || !file.seek(from))
        throw CannotRead(path, isThere ? "unreadable" : "not-found", file.errorString());
    qint64 end = from;
    while (true) {
        const QByteArray line = file.readLine();
        if (!line.endsWith('\n')) {
            if (end == 0 && !CanBegin(line))
                throw NoJournal(path);
            return end;
        }
        const QJsonDocument parsed = QJsonDocument::fromJson(line);
        if (end == 0 && !line.startsWith(beginning))
            throw NoJournal(path);
        if (!parsed.isObject())
            throw Damaged(path, end);
        if (IsOfLaterVersion(parsed.object()))
            throw Failure(ExitCode::Input, "not-a-journal",
                          path.toStdString() +
                              " was written by a later version of pdfconvert; take that one");
        take(parsed.object());
        end += line.size();
    }
}

} // namespace Korvel::App
