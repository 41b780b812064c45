#include "TotalsText.h"

#include "PageNumbers.h"
#include "Text.h"
#include "Totals.h"
#include "Verification.h"

#include <algorithm>
#include <cmath>

#include <QJsonArray>
#include <QLocale>
#include <QStringList>

namespace Korvel::App {

namespace {

constexpr int columnWidth = 12;
constexpr qint64 lackingAtMost = 20;

using Reason = std::pair<QString, qint64>;

/** The reasons and how often each has come, the most frequent first. */
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
    return QString("%1:%2:%3")
        .arg(whole / 3600)
        .arg(whole / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(whole % 60, 2, 10, QLatin1Char('0'));
}

double PagesPerSecond(const Totals& totals)
{
    const double seconds = totals.SecondsAtWork();
    return seconds > 0 ? double(totals.pages) / seconds : 0;
}

QString Rate(const Totals& totals)
{
    return QString::number(PagesPerSecond(totals), 'f', 1);
}

/** A line with a number in the column. */
QString Row(const QString& number, const QString& text)
{
    return number.rightJustified(columnWidth) + QLatin1Char(' ') + text + QLatin1Char('\n');
}

QString Done(const Totals& totals)
{
    QString text = "done";
    if (totals.repaired > 0)
        text += QString("; %1 of them repaired, which %2 a look")
                    .arg(Number(totals.repaired),
                         QLatin1String(totals.repaired == 1 ? "wants" : "want"));
    if (const auto lacking = qint64(totals.lacking.size()); lacking > 0)
        text += QString("; %1 of them without some pages").arg(Number(lacking));
    return text;
}

QString Runs(const Totals& totals)
{
    QString text = Noun(totals.runs, "run");
    if (totals.runsWithoutEnd > 0)
        text += QString("; %1 without an end: killed, or still at work")
                    .arg(Number(totals.runsWithoutEnd));
    return text;
}

/** The failures by their reasons, in a column of their own below the number of all. */
QString FailuresText(const Totals& totals)
{
    QString text;
    int width = 0;
    for (const auto& [reason, count] : Sorted(totals.failed)) {
        width = std::max(width, int(Number(count).size()));
        text += Row(QString(),
                    QString("  %1 %2").arg(Number(count), width).arg(WithoutControls(reason)));
    }
    return text;
}

QString LackingText(const Totals& totals)
{
    QString text;
    qint64 listed = 0;
    for (const auto& [file, pages] : totals.lacking) {
        if (listed++ == lackingAtMost)
            break;
        const auto count = qint64(pages.size());
        text += Row(Number(count),
                    Noun(count, "page") +
                        QString(" of %1: %2").arg(WithoutControls(file), PageNumbers(pages)));
    }
    if (const auto further = qint64(totals.lacking.size()) - lackingAtMost; further > 0)
        text += Row(Number(further), Noun(further, "further document") + ", which --json names");
    return text.isEmpty() ? text : "\nMissing, as they could not be converted:\n" + text;
}

QString SlowestText(const Totals& totals)
{
    QString text;
    for (const Totals::Slow& document : totals.slowest)
        text += Row(QString::number(document.seconds, 'f', 1),
                    QString("s for %1 of %2")
                        .arg(Counted(document.pages, "page"), WithoutControls(document.file)));
    return text.isEmpty() ? text : "\nThe slowest:\n" + text;
}

} // namespace

QString ToText(const Totals& totals)
{
    const qint64 documents = totals.Documents();
    const qint64 failed = totals.Failed();
    return Row(Number(totals.journals), Noun(totals.journals, "journal")) +
           Row(Number(totals.runs), Runs(totals)) +
           Row(Duration(totals.SecondsAtWork()), "at work") +
           Row(Number(documents), Noun(documents, "document")) +
           Row(Number(totals.pending), "to do") + Row(Number(totals.done), Done(totals)) +
           Row(Number(totals.skipped), "skipped") + Row(Number(failed), "failed") +
           FailuresText(totals) +
           Row(Number(totals.pages),
               Noun(totals.pages, "page") + QString(", %1 a second").arg(Rate(totals))) +
           Row(Number(totals.files), Noun(totals.files, "file") + " of " + Size(totals.bytes)) +
           LackingText(totals) + SlowestText(totals);
}

QString ToText(const Verified& verified)
{
    const auto found = qint64(verified.findings.size());
    return '\n' + Row(Number(verified.files), Noun(verified.files, "file") + " looked at") +
           Row(Number(verified.files - found), "as written") +
           Row(Number(found), "missing, changed or unreadable");
}

QString ToLine(const Totals& totals)
{
    return QString("%1 of %2 done, %3 to do, %4 skipped, %5 failed; %6, %7 a second")
        .arg(Number(totals.done), Counted(totals.Documents(), "document"), Number(totals.pending),
             Number(totals.skipped), Number(totals.Failed()), Counted(totals.pages, "page"),
             Rate(totals));
}

QJsonObject ToJson(const Totals& totals)
{
    QJsonArray failures;
    for (const auto& [reason, count] : Sorted(totals.failed))
        failures.append(QJsonObject{{"reason", reason}, {"documents", count}});
    QJsonArray lacking;
    for (const auto& [file, pages] : totals.lacking) {
        QJsonArray numbers;
        for (const int page : pages)
            numbers.append(page);
        lacking.append(QJsonObject{{"file", file}, {"pages", numbers}});
    }
    QJsonArray slowest;
    for (const Totals::Slow& document : totals.slowest)
        slowest.append(QJsonObject{
            {"file", document.file}, {"seconds", document.seconds}, {"pages", document.pages}});
    return {{"version", 1},
            {"journals", totals.journals},
            {"runs", totals.runs},
            {"runsWithoutEnd", totals.runsWithoutEnd},
            {"documents", totals.Documents()},
            {"pending", totals.pending},
            {"done", totals.done},
            {"repaired", totals.repaired},
            {"lacking", lacking},
            {"skipped", totals.skipped},
            {"failed", totals.Failed()},
            {"failures", failures},
            {"pages", totals.pages},
            {"files", totals.files},
            {"bytes", totals.bytes},
            {"seconds", totals.SecondsAtWork()},
            {"pagesPerSecond", PagesPerSecond(totals)},
            {"slowest", slowest}};
}

} // namespace Korvel::App
