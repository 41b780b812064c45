#include "Console.h"

#include "DocumentText.h"
#include "Text.h"
#include "Writing.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

#include <unistd.h>

namespace Korvel::App {

namespace {

/** Of the JSON that is written; raised when a member changes its meaning or goes. */
constexpr int jsonVersion = 1;

constexpr int barWidth = 24;
constexpr int longestName = 30;
constexpr char red[] = "\033[31m";
constexpr char yellow[] = "\033[33m";
constexpr qint64 millisecondsBetweenBars = 100;
constexpr qint64 millisecondsBetweenLines = 5000;

bool IsOnTerminal()
{
    return ::isatty(STDERR_FILENO) == 1;
}

/** Whether messages may be colored: https://no-color.org. */
bool HasColors()
{
    const char* const refusal = std::getenv("NO_COLOR");
    return IsOnTerminal() && (!refusal || *refusal == '\0');
}

ProgressStyle StyleFor(const ConsoleOptions& options)
{
    if (options.progress != ProgressStyle::Auto)
        return options.progress;
    if (options.quiet || options.verbosity > 0)
        return ProgressStyle::None;
    return IsOnTerminal() ? ProgressStyle::Bar : ProgressStyle::Plain;
}

QString Shortened(const QString& name)
{
    return name.size() > longestName ? name.left(longestName - 3) + QStringLiteral("...") : name;
}

QString Duration(qint64 seconds)
{
    return QStringLiteral("%1:%2").arg(seconds / 60).arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

} // namespace

Console::Console(const ConsoleOptions& options, const Interruption& interruption)
    : interruption(interruption),
      quiet(options.quiet),
      json(options.json),
      style(StyleFor(options)),
      hasColors(HasColors())
{
}

Console::~Console()
{
    Erase();
}

void Console::Expect(int ofDocuments, int results)
{
    expectedDocuments = ofDocuments;
    expectedPages = results;
    sinceBegin.start();
    sinceShown.start();
}

int Console::Begin(const QString& name, int results)
{
    inWork[++lastWork] = {name, results, 0, {}};
    inWork[lastWork].sinceBegin.start();
    Emit("started", {{QStringLiteral("file"), name}, {QStringLiteral("results"), results}});
    if (style == ProgressStyle::Bar)
        Draw(ProgressText());
    return lastWork;
}

void Console::Progress(int number, double fraction)
{
    Work& work = inWork.at(number);
    work.fraction = fraction;
    const qint64 pause =
        style == ProgressStyle::Plain ? millisecondsBetweenLines : millisecondsBetweenBars;
    const bool isLast = fraction >= 1 && style != ProgressStyle::Plain;
    if (style == ProgressStyle::None || (!isLast && sinceShown.elapsed() < pause))
        return;
    sinceShown.start();
    if (style == ProgressStyle::Bar)
        Draw(ProgressText());
    else if (style == ProgressStyle::Plain)
        Say(QStringLiteral("pdfconvert: %1\n").arg(ProgressText()));
    Emit("progress", {{QStringLiteral("file"), work.name},
                      {QStringLiteral("done"), fraction},
                      {QStringLiteral("seconds"), double(work.sinceBegin.elapsed()) / 1000}});
}

void Console::End(int number)
{
    if (const auto ended = inWork.extract(number)) {
        ++endedDocuments;
        endedPages += ended.mapped().pages;
    }
}

/** What is converted, bar, pages, percent, rate and time left. */
QString Console::ProgressText() const
{
    double pages = endedPages;
    for (const auto& [number, work] : inWork)
        pages += work.fraction * work.pages;
    const double fraction = pages / std::max(expectedPages, 1);
    QString text =
        expectedDocuments == 1
            ? WithoutControls(Shortened(inWork.begin()->second.name))
            : QStringLiteral("%1/%2 documents").arg(endedDocuments).arg(expectedDocuments);
    if (style == ProgressStyle::Bar) {
        const int filled = int(fraction * barWidth);
        text += QStringLiteral(" [%1%2]").arg(QString(filled, QLatin1Char('#')),
                                              QString(barWidth - filled, QLatin1Char('.')));
    }
    text += QStringLiteral(" %1/%2 pages %3%")
                .arg(int(pages + 0.001))
                .arg(expectedPages)
                .arg(int(fraction * 100 + 0.001));
    const double seconds = double(sinceBegin.elapsed()) / 1000;
    if (fraction > 0 && seconds >= 1)
        text += QStringLiteral(" %1/s %2 left")
                    .arg(pages / seconds, 0, 'f', 1)
                    .arg(Duration(std::llround(seconds * (1 - fraction) / fraction)));
    return text;
}

bool Console::Finished(const QString& name, const std::vector<Result>& results)
{
    // The files' sizes are of use to programs only.
    return WritePaths(name, results, IsForPrograms() ? ToJson(results) : QJsonArray());
}

bool Console::Planned(const QString& name, const std::vector<Result>& results)
{
    return WritePaths(name, results, PlannedToJson(results));
}

bool Console::WritePaths(const QString& name, const std::vector<Result>& results,
                         const QJsonArray& described)
{
    Erase();
    QString lines;
    for (const Result& result : results)
        lines += result.path + QLatin1Char('\n');
    if (!json && !WriteResult(lines))
        return false;
    const QJsonObject members{{"file", name}, {"results", described}};
    Emit("finished", members);
    Keep(members, true);
    return true;
}

bool Console::Content(const QString& name, const QString& path)
{
    Erase();
    if (!WriteFile(path))
        return false;
    Emit("finished",
         {{QStringLiteral("file"), name}, {QStringLiteral("bytes"), QFileInfo(path).size()}});
    return true;
}

bool Console::Describe(const QString& name, const PDF::DocumentInfo& info)
{
    if (!json)
        return WriteResult(ToLines(name, info));
    QJsonObject members = ToJson(info);
    members[QStringLiteral("file")] = name;
    Keep(members, true);
    return true;
}

void Console::Failed(const QString& name, const Failure& failure)
{
    const std::string message =
        (name.isEmpty() ? std::string() : name.toStdString() + ": ") + failure.what();
    Print(message, red);
    const QJsonObject members{{QStringLiteral("file"), name.isEmpty() ? QJsonValue() : name},
                              {QStringLiteral("reason"), QString::fromLatin1(failure.reason)},
                              {QStringLiteral("message"), QString::fromStdString(message)}};
    Emit("failed", members);
    Keep(members, false);
}

/** For the closing document, if there will be one. */
void Console::Keep(QJsonObject document, bool isOk)
{
    if (!json)
        return;
    document[QStringLiteral("ok")] = isOk;
    documents.append(document);
}

void Console::Warn(const QString& name, const char* reason, const std::string& message)
{
    ++warnings;
    if (!quiet)
        Print(name.toStdString() + ": " + message, yellow);
    const QJsonObject members{{QStringLiteral("file"), name},
                              {QStringLiteral("reason"), QString::fromLatin1(reason)},
                              {QStringLiteral("message"), QString::fromStdString(message)}};
    Emit("warning", members);
    if (json)
        warned.append(members);
}

void Console::Note(const std::string& message)
{
    if (!quiet)
        Print(message);
}

bool Console::Close(int exitCode)
{
    Erase();
    if (!json)
        return true;
    const QJsonObject closing{{QStringLiteral("version"), jsonVersion},
                              {QStringLiteral("exitCode"), exitCode},
                              {QStringLiteral("documents"), documents},
                              {QStringLiteral("warnings"), warned}};
    return WriteResult(QString::fromUtf8(QJsonDocument(closing).toJson()));
}

bool Console::WriteResult(const QString& text) const
{
    return WriteAll(STDOUT_FILENO, text.toUtf8(), interruption);
}

bool Console::WriteFile(const QString& path) const
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    while (!file.atEnd()) {
        const QByteArray block = file.read(1 << 20);
        if (block.isEmpty() || !WriteAll(STDOUT_FILENO, block, interruption))
            return false;
    }
    return true;
}

void Console::Say(const QString& text) const
{
    WriteAll(STDERR_FILENO, text.toUtf8(), interruption);
}

/** A line for people; programs that read events are told by those. */
void Console::Print(const std::string& message, const char* color)
{
    Erase();
    if (style == ProgressStyle::Json)
        return;
    QString program = QStringLiteral("pdfconvert:");
    if (hasColors && color)
        program = QLatin1String(color) + program + QStringLiteral("\033[m");
    const QString text = WithoutControls(QString::fromStdString(message));
    Say(program + QLatin1Char(' ') + text + QLatin1Char('\n'));
}

void Console::Emit(const char* event, QJsonObject members)
{
    if (style != ProgressStyle::Json)
        return;
    members[QStringLiteral("event")] = QString::fromLatin1(event);
    members[QStringLiteral("version")] = jsonVersion;
    Say(QString::fromUtf8(QJsonDocument(members).toJson(QJsonDocument::Compact)) +
        QLatin1Char('\n'));
}

void Console::Draw(const QString& text)
{
    Say(QStringLiteral("\r\033[K") + Unwrapped(text));
    drawn = true;
}

void Console::Erase()
{
    if (drawn)
        Say(QStringLiteral("\r\033[K"));
    drawn = false;
}

} // namespace Korvel::App
