#include "Journal.h"

#include "Failure.h"
#include "FileDescriptor.h"
#include "JournalLine.h"
#include "JournalOptions.h"
#include "JournalSettings.h"
#include "SessionName.h"

#include <cerrno>
#include <cstring>

#include <QDateTime>
#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSysInfo>
#include <QThread>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace Korvel::App {

namespace {

QJsonObject ToJson(const QString& path, const Checksum& sum)
{
    return {{"path", path}, {"bytes", sum.bytes}, {"xxh128", sum.xxh128}};
}

Failure CannotWrite(const QString& path, const QString& why)
{
    return {ExitCode::Output, "cannot-write",
            "cannot write the journal " + path.toStdString() + ": " + why.toStdString()};
}

/** The process that has the journal, as far as it has told. */
std::string HolderOf(const QString& path)
{
    std::string holder = "another run";
    JournalReader(path).ReadOn([&holder](const QJsonObject& line) {
        const QString event = line["event"].toString();
        if (event == QLatin1String("ended"))
            holder = "another run";
        else if (event == QLatin1String("begun"))
            holder = "process " + std::to_string(line["process"].toInt()) + " on " +
                     line["host"].toString().toStdString();
    });
    return holder;
}

} // namespace

Journal::Journal(const JournalOptions& options, const OutputOptions& output,
                 const PageOptions& pages)
    : path(QString::fromStdString(options.path)),
      retriesFailed(options.retriesFailed),
      settings(JournalSettings(output, pages)),
      file(path),
      reader(path)
{
    if (IsOff())
        return;
    Open();
    Lock();
    reader.ReadOn([this](const QJsonObject& line) { state.Read(line); });
    if (reader.IsOfEarlierForm())
        throw Failure(ExitCode::Input, "not-a-journal",
                      "the journal " + path.toStdString() +
                          " was begun by an earlier version of pdfconvert, whose lines have no "
                          "checksums; let that one end the run, or name another journal");
    CheckSettings();
}

void Journal::Open()
{
    if (QFileInfo::exists(path) && !QFileInfo(path).isFile())
        throw CannotWrite(path, "it is not a regular file");
    if (!file.open(QIODevice::ReadWrite | QIODevice::Unbuffered))
        throw CannotWrite(path, file.errorString());
}

void Journal::Lock() const
{
    // What a killed run was just starting has the lock, too, until it is a program of its own.
    const QDeadlineTimer patience(2000);
    while (::flock(file.handle(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK)
            throw CannotWrite(path, QString("cannot lock it: ") + std::strerror(errno));
        if (patience.hasExpired())
            throw Failure(ExitCode::Output, "journal-in-use",
                          "the journal " + path.toStdString() + " belongs to " + HolderOf(path) +
                              ", which still runs; wait for its end, or name another journal");
        QThread::msleep(10);
    }
}

void Journal::CheckSettings() const
{
    const std::string differences = Differences(state.Settings(), settings);
    if (!differences.empty())
        throw Failure(ExitCode::Usage, "usage",
                      "the journal " + path.toStdString() + " was begun with other settings (" +
                          differences + "); take those again, or name another journal");
}

void Journal::Begin(const QString& session)
{
    if (IsOff())
        return;
    RemoveHidden();
    if (!file.resize(reader.End()) || !file.seek(reader.End()))
        throw CannotWrite(path, file.errorString());
    id = reader.Id().isEmpty() ? session.section('-', -1) : reader.Id();
    lines = reader.NextNumber() - 1;
    sealAt = reader.SealAt().value_or(-1);
    QJsonObject begun{{"version", journalVersion},
                      {"host", QSysInfo::machineHostName()},
                      {"process", ::getpid()},
                      {"session", session},
                      {"settings", settings}};
    if (reader.IsTornAtFirst())
        begun["torn"] = true; // for the next run, should this one be killed
    Append("begun", begun);
    Check();
    FlushToDisk(QFileInfo(path).path());
}

void Journal::Given(std::size_t documents)
{
    Append("given", {{"documents", qint64(documents)}});
}

bool Journal::IsDamaged() const
{
    return reader.IsDamaged() || reader.IsTornAtFirst() || state.HasLostBeginning();
}

std::string Journal::Damage() const
{
    if (!reader.IsDamaged())
        return {};
    return "is damaged: " + reader.Damage() +
           "; documents that are not done by the other lines are made again, but for results that "
           "are on the disk byte by byte";
}

/** Copies from another volume lie beside the result until they are whole. */
void Journal::RemoveHidden() const
{
    if (state.Abandoned().isEmpty())
        return;
    const std::string prefix = HiddenPrefix(state.Abandoned().toStdString());
    const QStringList form{QString::fromStdString(prefix) + '*'};
    const auto filters = QDir::Files | QDir::Hidden;
    for (const QString& folder : state.FoldersInWork()) {
        for (const QString& name : QDir(folder).entryList(form, filters, QDir::Unsorted))
            QFile::remove(folder + '/' + name);
    }
}

void Journal::End(int exitCode)
{
    Append("ended", {{"exitCode", exitCode}});
    Flush();
}

Journal::Standing Journal::Take(const QString& name)
{
    return IsOff() ? Standing::ToDo : state.Take(name, retriesFailed);
}

void Journal::UseEngine(const QString& name, bool isChosen)
{
    const QString& before = state.Engine();
    if (!isChosen && !before.isEmpty() && before != name)
        throw Failure(ExitCode::Usage, "usage",
                      "the pages of the journal " + path.toStdString() + " were drawn by " +
                          before.toStdString() + ", and this run would draw by " +
                          name.toStdString() +
                          ", which differs by some pixels; say with --engine which one is to go "
                          "on, or name another journal");
    engine = name;
}

void Journal::Planned(const QString& name, int pages, const std::vector<Result>& results)
{
    if (IsOff())
        return;
    state.SetPages(name, pages);
    QJsonObject members{{"file", name}, {"pages", pages}, {"results", PlannedToJson(results)}};
    if (!engine.isEmpty())
        members["engine"] = engine;
    Append("planned", members);
}

void Journal::Keep(const QString& folder)
{
    if (IsOff())
        return;
    QString made = folder;
    for (QString parent = QFileInfo(made).path(); parent != made && kept.insert(made).second;
         parent = QFileInfo(made).path()) {
        FlushToDisk(parent); // which fails for none that a run has made
        made = parent;
    }
}

void Journal::PlannedAnew(const QString& name, const Result& result)
{
    if (!IsOff())
        Append("planned", {{"file", name},
                           {"pages", state.PagesOf(name)},
                           {"results", PlannedToJson({result})},
                           {"anew", true}});
}

bool Journal::Placing(const QString& from, const QString& to)
{
    if (IsOff())
        return true;
    const auto sum = Checksum::Of(from.toStdString());
    if (!sum || !FlushToDisk(from))
        return false;
    placing = *sum;
    Append("placing", ToJson(to, placing));
    Flush();
    return IsSound();
}

void Journal::Refused(const QString& to)
{
    if (!HasPlaced(to))
        Append("refused", ToJson(to, placing));
}

bool Journal::CanHavePlaced(const QString& at) const
{
    return IsDamaged() && Checksum::Of(at.toStdString()) == placing;
}

void Journal::Done(const QString& name, const std::vector<Result>& results, double seconds,
                   bool isRepaired, const QJsonArray& failedPages)
{
    if (IsOff())
        return;
    state.SetDone(name);
    std::set<QString> folders;
    for (const Result& result : results)
        folders.insert(QFileInfo(result.path).path());
    for (const QString& folder : folders)
        FlushToDisk(folder);
    if (results.empty()) {
        Append("skipped", {{"file", name}});
    } else {
        QJsonObject members{{"file", name}, {"results", ToJson(results)}, {"seconds", seconds}};
        if (isRepaired)
            members["repaired"] = true;
        if (!failedPages.isEmpty())
            members["failedPages"] = failedPages;
        Append("done", members);
    }
    Flush();
}

void Journal::Failed(const QString& name, const char* reason, const std::string& message)
{
    if (IsOff() || state.IsDone(name))
        return;
    state.SetFailed(name, QString::fromLatin1(reason));
    Append("failed", {{"file", name},
                      {"reason", QString::fromLatin1(reason)},
                      {"message", QString::fromStdString(message)}});
    Flush();
}

void Journal::Check()
{
    Flush();
    if (!IsSound())
        throw CannotWrite(path, problem + "; what it does not tell of is converted again by the "
                                          "next run");
}

bool Journal::FlushToDisk(const QString& what)
{
    const PDF::FileDescriptor opened(::open(what.toStdString().c_str(), O_RDONLY | O_CLOEXEC));
    return opened && ::fsync(opened.Number()) == 0;
}

void Journal::Append(const char* event, QJsonObject members)
{
    if (IsOff() || !IsSound())
        return;
    members["event"] = QString::fromLatin1(event);
    members["time"] = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
    const QByteArray line = JournalLine{members, id, ++lines}.ToText();
    if (lines == 1)
        sealAt = *JournalSeal::PlaceIn(line.chopped(1));
    if (file.write(line) != line.size())
        problem = file.error() == QFile::NoError ? std::strerror(ENOSPC) : file.errorString();
}

void Journal::Flush()
{
    if (IsOff() || !IsSound())
        return;
    if (::fdatasync(file.handle()) == 0)
        Seal();
    else
        problem = std::strerror(errno);
}

/**
 * Writes down how many lines are on the disk. That is not flushed: when it is lost, the lines say
 * so themselves.
 */
void Journal::Seal()
{
    const QByteArray seal = JournalSeal::Write(lines);
    if (sealAt >= 0 &&
        ::pwrite(file.handle(), seal.constData(), std::size_t(seal.size()), sealAt) != seal.size())
        problem = std::strerror(errno);
}

} // namespace Korvel::App
