#include "JournalTotals.h"

#include "ExitCode.h"

#include <algorithm>
#include <map>
#include <utility>

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>

#include <xxhash.h>

namespace Korvel::App {

namespace {

/** The line's time, in milliseconds since 1970; 0 where it has none. */
qint64 TimeOf(const QJsonObject& line)
{
    const QString text = line[QLatin1String("time")].toString();
    const QDateTime time = QDateTime::fromString(text, Qt::ISODateWithMs);
    return time.isValid() ? time.toMSecsSinceEpoch() : 0;
}

} // namespace

void JournalTotals::Take(const QJsonObject& line)
{
    total.journals = 1;
    static const std::map<QString, Document::State> states{{"planned", Document::Planned},
                                                           {"done", Document::Done},
                                                           {"skipped", Document::Skipped},
                                                           {"failed", Document::Failed}};
    const QString event = line[QLatin1String("event")].toString();
    if (const auto state = states.find(event); state != states.end())
        TakeDocument(state->second, line);
    else
        TakeRun(event, line);
    total.pending = std::max(planned, given - ended);
    if (const qint64 time = TimeOf(line); time > 0 && !total.spans.empty())
        total.spans.back().end = std::max(total.spans.back().end, time);
}

bool JournalTotals::IsOver() const
{
    return exitCode == int(ExitCode::Done) || exitCode == int(ExitCode::Warnings) ||
           exitCode == int(ExitCode::PartlyFailed);
}

void JournalTotals::TakeRun(const QString& event, const QJsonObject& line)
{
    if (event == QLatin1String("begun")) {
        ++total.runs;
        ++total.runsWithoutEnd;
        exitCode = -1;
        total.spans.push_back({TimeOf(line), 0});
    } else if (event == QLatin1String("given")) {
        given = line[QLatin1String("documents")].toInt();
        ended = 0;
        for (auto& [key, document] : documents)
            document.hasEnded = false;
    } else if (event == QLatin1String("ended")) {
        --total.runsWithoutEnd;
        exitCode = line[QLatin1String("exitCode")].toInt();
    }
}

void JournalTotals::TakeDocument(Document::State state, const QJsonObject& line)
{
    const QString name = line[QLatin1String("file")].toString();
    Document& document = documents[KeyOf(name)];
    Count(document, -1);
    if (document.state == Document::Done)
        Forget(name);
    if (std::exchange(document.lacksPages, false))
        total.lacking.erase(name);
    document.state = state;
    if (state != Document::Planned && !std::exchange(document.hasEnded, true))
        ++ended;
    if (state == Document::Planned)
        document.pages = line[QLatin1String("pages")].toInt();
    else if (state == Document::Failed)
        document.reason =
            total.failed.try_emplace(line[QLatin1String("reason")].toString()).first->first;
    else if (state == Document::Done)
        TakeResults(document, line);
    Count(document, 1);
}

/** Takes a document out of the slowest, as it is not what it was. */
void JournalTotals::Forget(const QString& name)
{
    const auto isIt = [&name](const Totals::Slow& document) {
        return document.file == name;
    };
    total.slowest.erase(std::remove_if(total.slowest.begin(), total.slowest.end(), isIt),
                        total.slowest.end());
}

void JournalTotals::TakeResults(Document& document, const QJsonObject& line)
{
    const QJsonArray results = line[QLatin1String("results")].toArray();
    int pages = 0;
    document.bytes = 0;
    for (const auto result : results) {
        pages += result.toObject().contains(QLatin1String("page"));
        document.bytes += qint64(result.toObject()[QLatin1String("bytes")].toDouble());
    }
    // A text or a PDF holds all pages of its document.
    document.pages = pages > 0 ? pages : document.pages;
    document.files = int(results.size());
    document.repaired = line[QLatin1String("repaired")].toBool();
    TakeLackingPages(document, line);
    total.AddSlow({line[QLatin1String("file")].toString(),
                   line[QLatin1String("seconds")].toDouble(), document.pages});
}

void JournalTotals::TakeLackingPages(Document& document, const QJsonObject& line)
{
    std::vector<int> pages;
    for (const auto page : line[QLatin1String("failedPages")].toArray())
        pages.push_back(page.toObject()[QLatin1String("page")].toInt());
    if (pages.empty())
        return;
    document.lacksPages = true;
    std::sort(pages.begin(), pages.end());
    total.lacking.emplace(line[QLatin1String("file")].toString(), std::move(pages));
}

/** Counts a document in, or out again with a sign of -1. */
void JournalTotals::Count(const Document& document, int sign)
{
    switch (document.state) {
    case Document::Planned:
        planned += sign;
        break;
    case Document::Done:
        total.done += sign;
        total.repaired += document.repaired ? sign : 0;
        total.pages += sign * document.pages;
        total.files += sign * qint64(document.files);
        total.bytes += sign * document.bytes;
        break;
    case Document::Skipped:
        total.skipped += sign;
        break;
    case Document::Failed:
        if ((total.failed[document.reason] += sign) == 0)
            total.failed.erase(document.reason);
        break;
    case Document::Unknown:
        break;
    }
}

JournalTotals::Key JournalTotals::KeyOf(const QString& name)
{
    const XXH128_hash_t hash =
        XXH3_128bits(name.constData(), std::size_t(name.size()) * sizeof(QChar));
    return {hash.low64, hash.high64};
}

} // namespace Korvel::App
