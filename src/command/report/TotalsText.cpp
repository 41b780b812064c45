#include "TotalsText.h"

#include "JournalTotals.h"
#include "Text.h"

#include <algorithm>
#include <cmath>

#include <QJsonArray>
#include <QLocale>

namespace Korvel::App {

namespace {

constexpr int columnWidth = 12;

using Reason = std::pair<QString, qint64>;

/** The most frequent first. */
std::vector<Reason> Sorted(const std::map<QString, qint64>& failed)
{
    std::vector<Reason> reasons(failed.begin(), failed.end());
    std::stable_sort(reasons.begin(), reasons.end(), [](const Reason& one, const Reason& other) {
        return one.second > other.second;
    });
    return reasons;
}

QString Number(qint64 number)
{
    return QLocale(QLocale::English).toString(number);
}

/** The word for so many of them, whose plural ends with an s. */
QString Noun(qint64 count, const char* singular)
{
    return QLatin1String(singular) + QLatin1String(count == 1 ? "" : "s");
}

QString Counted(qint64 count, const char* singular)
{
    return Number(count) + QLatin1Char(' ') + Noun(count, singular);
}

QString Size(qint64 bytes)
{
    if (bytes < 1000)
        return Counted(bytes, "byte");
    return QLocale(QLocale::English).formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat);
}

QString Duration(double seconds)
{
    const qint64 whole = std::llround(seconds);
    return QStringLiteral("%1:%2:%3")
        .arg(whole / 3600)
        .arg(whole / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(whole % 60, 2, 10, QLatin1Char('0'));
}

double PagesPerSecond(const Totals& summary)
{
    const double seconds = summary.SecondsAtWork();
    return seconds > 0 ? double(summary.pages) / seconds : 0;
}

QString Rate(const Totals& summary)
{
    return QString::number(PagesPerSecond(summary), 'f', 1);
}

/** A line with a number in the column. */
QString Row(const QString& number, const QString& text)
{
    return number.rightJustified(columnWidth) + QLatin1Char(' ') + text + QLatin1Char('\n');
}

QString Done(const Totals& summary)
{
    if (summary.repaired == 0)
        return QStringLiteral("done");
    return QStringLiteral("done; %1 of them repaired, which %2 a look")
        .arg(Number(summary.repaired), QLatin1String(summary.repaired == 1 ? "wants" : "want"));
}

QString Runs(const Totals& summary)
{
    QString text = Noun(summary.runs, "run");
    if (summary.runsWithoutEnd > 0)
        text += QStringLiteral("; %1 without an end: killed, or still at work")
                    .arg(Number(summary.runsWithoutEnd));
    return text;
}

/** In a column of their own, below that of all failures. */
QString FailuresText(const Totals& summary)
{
    QString text;
    int width = 0;
    for (const auto& [reason, count] : Sorted(summary.failed)) {
        width = std::max(width, Number(count).size());
        text +=
            Row(QString(),
                QStringLiteral("  %1 %2").arg(Number(count), width).arg(WithoutControls(reason)));
    }
    return text;
}

QString SlowestText(const Totals& summary)
{
    QString text;
    for (const Totals::Slow& document : summary.slowest)
        text += Row(QString::number(document.seconds, 'f', 1),
                    QStringLiteral("s for %1 of %2")
                        .arg(Counted(document.pages, "page"), WithoutControls(document.file)));
    return text.isEmpty() ? text : QStringLiteral("\nThe slowest:\n") + text;
}

} // namespace

QString ToText(const Totals& summary)
{
    const qint64 documents = summary.Documents();
    const qint64 failed = summary.Failed();
    return Row(Number(summary.journals), Noun(summary.journals, "journal")) +
           Row(Number(summary.runs), Runs(summary)) +
           Row(Duration(summary.SecondsAtWork()), QStringLiteral("at work")) +
           Row(Number(documents), Noun(documents, "document")) +
           Row(Number(summary.pending), QStringLiteral("to do")) +
           Row(Number(summary.done), Done(summary)) +
           Row(Number(summary.skipped), QStringLiteral("skipped")) +
           Row(Number(failed), QStringLiteral("failed")) + FailuresText(summary) +
           Row(Number(summary.pages),
               Noun(summary.pages, "page") + QStringLiteral(", %1 a second").arg(Rate(summary))) +
           Row(Number(summary.files),
               Noun(summary.files, "file") + QStringLiteral(" of ") + Size(summary.bytes)) +
           SlowestText(summary);
}

QString ToLine(const Totals& summary)
{
    return QStringLiteral("%1 of %2 done, %3 to do, %4 skipped, %5 failed; %6, %7 a second")
        .arg(Number(summary.done), Counted(summary.Documents(), "document"),
             Number(summary.pending), Number(summary.skipped), Number(summary.Failed()),
             Counted(summary.pages, "page"), Rate(summary));
}

QJsonObject ToJson(const Totals& summary)
{
    QJsonArray failures;
    for (const auto& [reason, count] : Sorted(summary.failed))
        failures.append(
            QJsonObject{{QStringLiteral("reason"), reason}, {QStringLiteral("documents"), count}});
    QJsonArray slowest;
    for (const Totals::Slow& document : summary.slowest)
        slowest.append(QJsonObject{{QStringLiteral("file"), document.file},
                                   {QStringLiteral("seconds"), document.seconds},
                                   {QStringLiteral("pages"), document.pages}});
    return {{QStringLiteral("version"), 1},
            {QStringLiteral("journals"), summary.journals},
            {QStringLiteral("runs"), summary.runs},
            {QStringLiteral("runsWithoutEnd"), summary.runsWithoutEnd},
            {QStringLiteral("documents"), summary.Documents()},
            {QStringLiteral("pending"), summary.pending},
            {QStringLiteral("done"), summary.done},
            {QStringLiteral("repaired"), summary.repaired},
            {QStringLiteral("skipped"), summary.skipped},
            {QStringLiteral("failed"), summary.Failed()},
            {QStringLiteral("failures"), failures},
            {QStringLiteral("pages"), summary.pages},
            {QStringLiteral("files"), summary.files},
            {QStringLiteral("bytes"), summary.bytes},
            {QStringLiteral("seconds"), summary.SecondsAtWork()},
            {QStringLiteral("pagesPerSecond"), PagesPerSecond(summary)},
            {QStringLiteral("slowest"), slowest}};
}

} // namespace Korvel::App
