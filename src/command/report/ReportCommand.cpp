#include "ReportCommand.h"

#include "Console.h"
#include "Failure.h"
#include "FailureMessages.h"
#include "Interruption.h"
#include "Streams.h"
#include "TotalsText.h"

#include <algorithm>

#include <QJsonDocument>

#include <poll.h>
#include <unistd.h>

namespace Korvel::App {

namespace {

constexpr int millisecondsBetweenLooks = 1000;
constexpr qint64 millisecondsBetweenLines = 5000;

QString FirstLines(const QString& text, int count)
{
    return text.section(QLatin1Char('\n'), 0, count - 1, QString::SectionIncludeTrailingSep);
}

} // namespace

ReportCommand::ReportCommand(const ReportOptions& options, Console& console,
                             const Interruption& interruption)
    : options(options), console(console), interruption(interruption), terminal(STDOUT_FILENO)
{
    for (const std::string& path : options.journals)
        journals.emplace_back(QString::fromStdString(path));
}

ExitCode ReportCommand::Run()
{
    ReadOn();
    while (options.follows && !IsOver()) {
        Show();
        Wait();
        ReadOn();
    }
    TellDamage();
    if (options.verifies)
        Verify();
    ShowLast();
    return Code(Total());
}

void ReportCommand::ReadOn()
{
    for (Journal& journal : journals) {
        if (!journal.isRefused)
            ReadOn(journal);
    }
}

/** Opens the journal each time: so NFS tells what other machines have written. */
void ReportCommand::ReadOn(Journal& journal)
{
    try {
        journal.reader.ReadOn([&](const QJsonObject& line) {
            interruption.Check();
            journal.totals.Take(line);
            if (options.verifies)
                journal.verification.Take(line);
        });
    } catch (const Failure& failure) {
        if (options.follows && QLatin1String(failure.reason) == QLatin1String("not-found"))
            return;
        journal.isRefused = true;
        Refuse(journal, failure);
    }
}

void ReportCommand::Refuse(const Journal& journal, const Failure& failure)
{
    console.Failed({}, failure);
    drawn = 0; // what is on the screen is above the message now
    unreadable.append(QJsonObject{{"file", journal.path},
                                  {"reason", QString::fromLatin1(failure.reason)},
                                  {"message", QString::fromUtf8(failure.what())}});
}

void ReportCommand::TellDamage()
{
    for (const Journal& journal : journals) {
        if (journal.reader.IsDamaged())
            Refuse(journal,
                   Failure(ExitCode::Input, "journal-damaged",
                           journal.path.toStdString() + " is damaged: " + journal.reader.Damage() +
                               "; what these lines told is not in the report"));
    }
}

void ReportCommand::Verify()
{
    for (const Journal& journal : journals)
        verified += journal.verification.Verify([this] { interruption.Check(); });
    for (const Verified::Finding& finding : verified.findings)
        console.Failed(finding.path,
                       Failure(ExitCode::Differs, finding.reason, finding.message.toStdString()));
}

bool ReportCommand::IsAnyRead() const
{
    return std::any_of(journals.begin(), journals.end(),
                       [](const Journal& journal) { return !journal.isRefused; });
}

bool ReportCommand::IsOver() const
{
    return std::all_of(journals.begin(), journals.end(), [](const Journal& journal) {
        return journal.isRefused || journal.totals.IsOver();
    });
}

Totals ReportCommand::Total() const
{
    Totals total;
    for (const Journal& journal : journals)
        total += journal.totals.Total();
    return total;
}

ExitCode ReportCommand::Code(const Totals& total) const
{
    if (!unreadable.isEmpty())
        return ExitCode::Input;
    if (!verified.findings.empty())
        return ExitCode::Differs;
    return total.failed.empty() ? ExitCode::Done : ExitCode::PartlyFailed;
}

QString ReportCommand::Json(const Totals& total) const
{
    QJsonObject object = ToJson(total);
    object["unreadable"] = unreadable;
    if (options.verifies)
        object["verified"] = ToJson(verified);
    QString text = QString::fromUtf8(QJsonDocument(object).toJson(
        options.follows ? QJsonDocument::Compact : QJsonDocument::Indented));
    return options.follows ? text + QLatin1Char('\n') : text;
}

/** Prints what has changed, unless it is too early for that. */
void ReportCommand::Show()
{
    const bool isLine = !options.json && !terminal.IsOne();
    const Totals total = Total();
    const QString text = options.json ? Json(total) : isLine ? ToLine(total) + '\n' : ToText(total);
    const bool isEarly =
        isLine && sinceShown.isValid() && sinceShown.elapsed() < millisecondsBetweenLines;
    if (isEarly || text == shown)
        return;
    if (isLine || options.json)
        Print(text);
    else
        Draw(text);
    shown = text;
    sinceShown.start();
}

void ReportCommand::ShowLast()
{
    if (!options.json && IsAnyRead())
        Print(Terminal::LinesErased(drawn) + ToText(Total()) +
              (options.verifies ? ToText(verified) : QString()));
    else if (const QString text = Json(Total()); options.json && text != shown)
        Print(text);
}

/** Draws in place of what was drawn before, as much as the terminal has lines for. */
void ReportCommand::Draw(const QString& text)
{
    const QString visible = FirstLines(text, terminal.Rows() - 1);
    Print(Terminal::LinesErased(drawn) + Terminal::Unwrapped(visible));
    drawn = int(visible.count(QLatin1Char('\n')));
}

void ReportCommand::Print(const QString& text) const
{
    if (WriteAll(STDOUT_FILENO, text.toUtf8(), interruption))
        return;
    interruption.Check();
    throw StandardOutputFailure();
}

/** Changes by other machines are heard of only by looking. */
void ReportCommand::Wait() const
{
    pollfd signal = {interruption.Descriptor(), POLLIN, 0};
    ::poll(&signal, 1, millisecondsBetweenLooks);
    interruption.Check();
}

} // namespace Korvel::App
