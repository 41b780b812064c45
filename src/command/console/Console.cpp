#include "Console.h"

#include "DocumentText.h"
#include "Interruption.h"
#include "Streams.h"
#include "Text.h"

#include <utility>

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

#include <unistd.h>

namespace Korvel::App {

namespace {

/** The version of the JSON that is written; raised when a member changes its meaning or goes. */
constexpr int jsonVersion = 1;

constexpr qint64 millisecondsBetweenBars = 100;
constexpr qint64 millisecondsBetweenLines = 5000;

ProgressStyle StyleFor(const ConsoleOptions& options, const Terminal& terminal)
{
    if (options.progress != ProgressStyle::Auto)
        return options.progress;
    if (options.quiet || options.verbosity > 0)
        return ProgressStyle::None;
    return terminal.IsOne() ? ProgressStyle::Bar : ProgressStyle::Plain;
}

} // namespace

Console::Console(const ConsoleOptions& options, const Interruption& interruption)
    : interruption(interruption),
      quiet(options.quiet),
      json(options.json),
      terminal(STDERR_FILENO),
      style(StyleFor(options, terminal))
{
}

Console::~Console()
{
    Erase();
}

void Console::Expect(int documentCount, int results)
{
    progress.Expect(documentCount, results);
    if (!sinceShown.isValid())
        sinceShown.start();
}

int Console::Begin(const QString& name, int results)
{
    const int work = progress.Begin(name, results);
    Emit("started", {{"file", name}, {"results", results}});
    if (style == ProgressStyle::Bar)
        Draw(progress.Text(true));
    return work;
}

void Console::Progress(int number, double fraction)
{
    const ProgressBar::Work& work = progress.Advance(number, fraction);
    const qint64 pause =
        style == ProgressStyle::Plain ? millisecondsBetweenLines : millisecondsBetweenBars;
    const bool isLast = fraction >= 1 && style != ProgressStyle::Plain;
    if (style == ProgressStyle::None || (!isLast && sinceShown.elapsed() < pause))
        return;
    sinceShown.start();
    if (style == ProgressStyle::Bar)
        Draw(progress.Text(true));
    else if (style == ProgressStyle::Plain)
        Say("pdfconvert: " + progress.Text(false) + '\n');
    Emit("progress", {{"file", work.name},
                      {"done", fraction},
                      {"seconds", double(work.sinceBegin.elapsed()) / 1000}});
}

void Console::End(int number)
{
    progress.End(number);
}

bool Console::Finished(const QString& name, const std::vector<Result>& results,
                       const QStringList& inputs)
{
    // The files' sizes are of use to programs only.
    return WritePaths(name, results, IsForPrograms() ? ToJson(results) : QJsonArray(), inputs);
}

bool Console::Planned(const QString& name, const std::vector<Result>& results,
                      const QStringList& inputs)
{
    return WritePaths(name, results, PlannedToJson(results), inputs);
}

bool Console::WritePaths(const QString& name, const std::vector<Result>& results,
                         const QJsonArray& described, const QStringList& inputs)
{
    Erase();
    QString lines;
    for (const Result& result : results)
        lines += result.path + QLatin1Char('\n');
    if (!json && !WriteResult(lines))
        return false;
    QJsonObject members{{"file", name}, {"results", described}};
    if (!inputs.isEmpty())
        members["inputs"] = QJsonArray::fromStringList(inputs);
    Emit("finished", members);
    Keep(members, true);
    return true;
}

bool Console::Content(const QString& name, const QString& path)
{
    Erase();
    if (!WriteFile(path))
        return false;
    Emit("finished", {{"file", name}, {"bytes", QFileInfo(path).size()}});
    return true;
}

bool Console::Describe(const QString& name, const PDF::DocumentInfo& info)
{
    if (!json)
        return WriteResult(ToLines(name, info));
    QJsonObject members = ToJson(info);
    members["file"] = name;
    Keep(members, true);
    return true;
}

void Console::Failed(const QString& name, const Failure& failure)
{
    Keep(Complain(name, failure), false);
}

void Console::NotPlanned(const QString& name, const Failure& failure)
{
    QJsonObject document = Complain(name, failure);
    document["ok"] = false;
    if (json)
        notPlanned.append(document);
}

/** As the closing document tells it. */
QJsonObject Console::Complain(const QString& name, const Failure& failure)
{
    const std::string message =
        (name.isEmpty() ? std::string() : name.toStdString() + ": ") + failure.what();
    Print(message, Terminal::Color::Red);
    QJsonObject members{{"file", name.isEmpty() ? QJsonValue() : name},
                        {"reason", QString::fromLatin1(failure.reason)},
                        {"message", QString::fromStdString(message)}};
    Emit("failed", members);
    return members;
}

/** Keeps what the closing document is to say, if there will be one. */
void Console::Keep(QJsonObject document, bool isOk)
{
    if (!json)
        return;
    document["ok"] = isOk;
    documents.append(document);
}

void Console::Warn(const QString& name, const char* reason, const std::string& message, int page)
{
    ++warnings;
    failedPages += page > 0 ? 1 : 0;
    if (!quiet)
        Print(name.toStdString() + ": " + message, Terminal::Color::Yellow);
    QJsonObject members{{"file", name},
                        {"reason", QString::fromLatin1(reason)},
                        {"message", QString::fromStdString(message)}};
    if (page > 0)
        members["page"] = page;
    Emit("warning", members);
    if (json)
        warned.append(members);
}

void Console::WarnOfRepair(const QString& name)
{
    Warn(name, "repaired", "is damaged and was repaired; look the result over");
}

void Console::Note(const std::string& message)
{
    if (!quiet)
        Print(message);
}

void Console::Note(const char* reason, const std::string& message)
{
    Note(message);
    const QJsonObject members{{"reason", QString::fromLatin1(reason)},
                              {"message", QString::fromStdString(message)}};
    Emit("note", members);
    if (json)
        notes.append(members);
}

bool Console::Close(int exitCode)
{
    Erase();
    if (!json)
        return true;
    QJsonArray all = notPlanned;
    for (const QJsonValue document : std::as_const(documents))
        all.append(document);
    QJsonObject closing{{"version", jsonVersion},
                        {"exitCode", exitCode},
                        {"documents", all},
                        {"warnings", warned},
                        {"notes", notes}};
    if (!engine.isEmpty())
        closing["engine"] = engine;
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
    if (interruption.IsUrgent())
        WriteAtOnce(STDERR_FILENO, text.toUtf8());
    else
        WriteAll(STDERR_FILENO, text.toUtf8(), interruption);
}

/** A line for people; programs that read events are told by those. */
void Console::Print(const std::string& message, std::optional<Terminal::Color> color)
{
    Erase();
    if (style == ProgressStyle::Json)
        return;
    QString program = QStringLiteral("pdfconvert:");
    if (color && terminal.HasColors())
        program = Terminal::Colored(program, *color);
    const QString text = WithoutControls(QString::fromStdString(message));
    Say(program + QLatin1Char(' ') + text + QLatin1Char('\n'));
}

void Console::Emit(const char* event, QJsonObject members)
{
    if (style != ProgressStyle::Json)
        return;
    members["event"] = QString::fromLatin1(event);
    members["version"] = jsonVersion;
    Say(QString::fromUtf8(QJsonDocument(members).toJson(QJsonDocument::Compact)) +
        QLatin1Char('\n'));
}

void Console::Draw(const QString& text)
{
    Say(Terminal::LineErased() + Terminal::Unwrapped(text));
    isDrawn = true;
}

void Console::Erase()
{
    if (isDrawn)
        Say(Terminal::LineErased());
    isDrawn = false;
}

} // namespace Korvel::App
