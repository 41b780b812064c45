#include "Journal.h"

#include "Failure.h"
#include "FileDescriptor.h"
#include "JournalFile.h"
#include "JournalOptions.h"
#include "OutputOptions.h"
#include "PageOptions.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <QDateTime>
#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSysInfo>
#include <QThread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Korvel::App {

namespace {

/** What decides which files there are in the end, and what is in them. */
QJsonObject SettingsOf(const OutputOptions& output, const PageOptions& pages)
{
    QJsonObject settings{
        {QStringLiteral("folder"), QDir::currentPath()},
        {QStringLiteral("output"), QString::fromStdString(output.path)},
        {QStringLiteral("format"), QString::fromStdString(output.format)},
        {QStringLiteral("on-exists"), onExistsWords.at(std::size_t(output.onExists))},
        {QStringLiteral("pages"), QString::fromStdString(pages.ranges)},
        {QStringLiteral("gray"), pages.gray},
        {QStringLiteral("quality"), pages.quality},
        {QStringLiteral("compression"), QString::fromStdString(pages.compression)}};
    const bool isFitted = !pages.size.isEmpty();
    settings[QStringLiteral("resolution")] = isFitted ? 0 : pages.resolution;
    settings[QStringLiteral("size")] =
        !isFitted ? QString()
                  : QStringLiteral("%1x%2").arg(pages.size.width()).arg(pages.size.height());
    return settings;
}

QString Text(const QJsonObject& line, const char* member)
{
    return line[QLatin1String(member)].toString();
}

QJsonObject ToJson(const QString& path, const Checksum& sum)
{
    return {{QStringLiteral("path"), path},
            {QStringLiteral("bytes"), sum.bytes},
            {QStringLiteral("xxh128"), sum.xxh128}};
}

Checksum ChecksumIn(const QJsonObject& line)
{
    return {qint64(line[QLatin1String("bytes")].toDouble()), Text(line, "xxh128")};
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
    ReadJournal(path, 0, [&holder](const QJsonObject& line) {
        if (Text(line, "event") == QLatin1String("ended"))
            holder = "another run";
        if (Text(line, "event") == QLatin1String("begun"))
            holder = "process " + std::to_string(line[QLatin1String("process")].toInt()) + " on " +
                     Text(line, "host").toStdString();
    });
    return holder;
}

} // namespace

Journal::Journal(const JournalOptions& options, const OutputOptions& output,
                 const PageOptions& pages)
    : path(QString::fromStdString(options.path)),
      retriesFailed(options.retriesFailed),
      settings(SettingsOf(output, pages)),
      file(path)
{
    Open();
    Lock();
    size = ReadJournal(path, 0, [this](const QJsonObject& line) { Read(line); });
    CheckSettings();
}

void Journal::Open()
{
    if (QFileInfo::exists(path) && !QFileInfo(path).isFile())
        throw CannotWrite(path, QStringLiteral("it is not a regular file"));
    if (!file.open(QIODevice::ReadWrite | QIODevice::Append | QIODevice::Unbuffered))
        throw CannotWrite(path, file.errorString());
}

void Journal::Lock() const
{
    // What a killed run was just starting has the lock, too, until it is a program of its own.
    const QDeadlineTimer patience(2000);
    while (::flock(file.handle(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK)
            throw CannotWrite(path, QStringLiteral("cannot lock it: ") + std::strerror(errno));
        if (patience.hasExpired())
            throw Failure(ExitCode::Output, "journal-in-use",
                          "the journal " + path.toStdString() + " belongs to " + HolderOf(path) +
                              ", which still runs; wait for its end, or name another journal");
        QThread::msleep(10);
    }
}

void Journal::Read(const QJsonObject& line)
{
    const QString event = Text(line, "event");
    const QString name = Text(line, "file");
    if (event == QLatin1String("begun"))
        ReadBegun(line);
    else if (event == QLatin1String("ended"))
        abandoned.clear();
    else if (event == QLatin1String("planned"))
        ReadPlanned(name, line);
    else if (event == QLatin1String("placing"))
        placed.insert(Text(line, "path"), ChecksumIn(line));
    else if (event == QLatin1String("refused"))
        placed.remove(Text(line, "path"), ChecksumIn(line));
    else if (event == QLatin1String("failed"))
        SetFailed(name, Text(line, "reason"));
    else if (event == QLatin1String("done") || event == QLatin1String("skipped"))
        ReadDone(name, line);
}

void Journal::ReadBegun(const QJsonObject& line)
{
    static const QRegularExpression name(QStringLiteral("^pdfconvert-[A-Za-z0-9]{6}$"));
    abandoned = name.match(Text(line, "session")).captured();
    if (planned.IsEmpty()) // nothing was made with those before
        firstSettings = line[QLatin1String("settings")].toObject();
}

void Journal::ReadPlanned(const QString& name, const QJsonObject& line)
{
    Plan plan;
    plan.pages = line[QLatin1String("pages")].toInt();
    const QJsonArray results = line[QLatin1String("results")].toArray();
    for (const QJsonValue& value : results) {
        const QJsonObject result = value.toObject();
        const QString to = Text(result, "path");
        plan.paths[result[QLatin1String("page")].toInt()] = to;
        planned.Add(to, name);
    }
    Document& document = documents[name];
    document.standing = Standing::ToDo;
    document.plan = plan;
}

/** A name that is none is shown like another one, which is not to stand for it. */
void Journal::SetFailed(const QString& name, const QString& reason)
{
    if (reason == QLatin1String("not-a-name"))
        hasBadName = true;
    else
        documents[name].standing = Standing::Failed;
}

void Journal::ReadDone(const QString& name, const QJsonObject& line)
{
    Document& document = documents[name];
    for (const auto& [page, to] : document.plan.paths)
        placed.remove(to);
    document.standing = Standing::Done;
    document.plan = {};
    hasRepaired = hasRepaired || line[QLatin1String("repaired")].toBool();
}

void Journal::CheckSettings() const
{
    std::string differences;
    for (auto now = settings.begin(); now != settings.end() && !planned.IsEmpty(); ++now) {
        const QString before = firstSettings[now.key()].toVariant().toString();
        if (firstSettings.contains(now.key()) && firstSettings[now.key()] != now.value())
            differences += (differences.empty() ? "" : ", ") + now.key().toStdString() + " was '" +
                           before.toStdString() + "' and is '" +
                           now.value().toVariant().toString().toStdString() + "'";
    }
    if (!differences.empty())
        throw Failure(ExitCode::Usage, "usage",
                      "the journal " + path.toStdString() + " was begun with other settings (" +
                          differences + "); take those again, or name another journal");
}

void Journal::Begin(const QString& session)
{
    RemoveHidden();
    if (!file.resize(size))
        throw CannotWrite(path, file.errorString());
    Append("begun", {{QStringLiteral("version"), journalVersion},
                     {QStringLiteral("host"), QSysInfo::machineHostName()},
                     {QStringLiteral("process"), ::getpid()},
                     {QStringLiteral("session"), session},
                     {QStringLiteral("settings"), settings}});
    Check();
    FlushToDisk(QFileInfo(path).path());
}

/** Copies from another volume lie beside the result until they are whole. */
void Journal::RemoveHidden() const
{
    if (abandoned.isEmpty())
        return;
    const QStringList form{'.' + abandoned + QStringLiteral("-*")};
    const auto filters = QDir::Files | QDir::Hidden;
    for (const QString& folder : FoldersInWork()) {
        for (const QString& name : QDir(folder).entryList(form, filters, QDir::Unsorted))
            QFile::remove(folder + '/' + name);
    }
}

std::set<QString> Journal::FoldersInWork() const
{
    std::set<QString> folders;
    for (const Document& document : documents) {
        for (const auto& [page, to] : document.plan.paths)
            folders.insert(QFileInfo(to).path());
    }
    return folders;
}

void Journal::End(int exitCode)
{
    Append("ended", {{QStringLiteral("exitCode"), exitCode}});
    Flush();
}

Journal::Standing Journal::Take(const QString& name)
{
    Document& document = documents[name];
    if (std::exchange(document.isTaken, true))
        return Standing::Taken;
    if (document.standing == Standing::Failed && retriesFailed)
        document.standing = Standing::ToDo;
    return document.standing;
}

std::optional<Journal::Plan> Journal::PlanOf(const QString& name) const
{
    const auto found = documents.find(name);
    if (found == documents.end() || found->plan.pages == 0)
        return std::nullopt;
    return found->plan;
}

bool Journal::HasFailed() const
{
    return hasBadName ||
           std::any_of(documents.begin(), documents.end(), [](const Document& document) {
               return document.standing == Standing::Failed;
           });
}

void Journal::Planned(const QString& name, int pages, const std::vector<Result>& results)
{
    documents[name].plan.pages = pages;
    Append("planned", {{QStringLiteral("file"), name},
                       {QStringLiteral("pages"), pages},
                       {QStringLiteral("results"), PlannedToJson(results)}});
}

void Journal::PlannedAnew(const QString& name, const std::vector<Result>& results)
{
    Planned(name, documents[name].plan.pages, results);
}

bool Journal::Placing(const QString& to, const Checksum& sum)
{
    Append("placing", ToJson(to, sum));
    Flush();
    return IsSound();
}

void Journal::Refused(const QString& to, const Checksum& sum)
{
    Append("refused", ToJson(to, sum));
}

bool Journal::HasPlaced(const QString& at) const
{
    struct stat status = {};
    if (!placed.contains(at) || ::lstat(at.toStdString().c_str(), &status) != 0 ||
        !S_ISREG(status.st_mode))
        return false;
    const auto sum = Checksum::Of(at.toStdString());
    return sum && placed.contains(at, *sum);
}

void Journal::Done(const QString& name, const std::vector<Result>& results, double seconds,
                   bool isRepaired)
{
    documents[name].standing = Standing::Done;
    std::set<QString> folders;
    for (const Result& result : results)
        folders.insert(QFileInfo(result.path).path());
    for (const QString& folder : folders)
        FlushToDisk(folder);
    if (results.empty()) {
        Append("skipped", {{QStringLiteral("file"), name}});
    } else {
        QJsonObject members{{QStringLiteral("file"), name},
                            {QStringLiteral("results"), ToJson(results)},
                            {QStringLiteral("seconds"), seconds}};
        if (isRepaired)
            members[QStringLiteral("repaired")] = true;
        Append("done", members);
    }
    Flush();
}

void Journal::Failed(const QString& name, const char* reason, const std::string& message)
{
    if (documents.value(name).standing == Standing::Done)
        return;
    SetFailed(name, QString::fromLatin1(reason));
    Append("failed", {{QStringLiteral("file"), name},
                      {QStringLiteral("reason"), QString::fromLatin1(reason)},
                      {QStringLiteral("message"), QString::fromStdString(message)}});
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
    members[QStringLiteral("event")] = QString::fromLatin1(event);
    members[QStringLiteral("time")] = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
    const QByteArray line = QJsonDocument(members).toJson(QJsonDocument::Compact) + '\n';
    if (!IsSound() || file.write(line) == line.size())
        return;
    problem = file.error() == QFile::NoError ? std::strerror(ENOSPC) : file.errorString();
}

void Journal::Flush()
{
    if (IsSound() && ::fdatasync(file.handle()) != 0)
        problem = std::strerror(errno);
}

} // namespace Korvel::App
