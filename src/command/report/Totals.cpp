#include "Totals.h"

#include <algorithm>
#include <numeric>

namespace Korvel::App {

namespace {

constexpr std::size_t slowestAtMost = 5;

} // namespace

qint64 Totals::Failed() const
{
    return std::accumulate(failed.begin(), failed.end(), qint64(0),
                           [](qint64 sum, const auto& reason) { return sum + reason.second; });
}

double Totals::SecondsAtWork() const
{
    std::vector<Span> inOrder = spans;
    std::sort(inOrder.begin(), inOrder.end(),
              [](const Span& one, const Span& other) { return one.begin < other.begin; });
    qint64 milliseconds = 0;
    qint64 end = 0;
    for (const Span& span : inOrder) {
        milliseconds += std::max<qint64>(0, span.end - std::max(span.begin, end));
        end = std::max(end, span.end);
    }
    return double(milliseconds) / 1000;
}

void Totals::AddSlow(const Slow& document)
{
    const auto place = std::upper_bound(
        slowest.begin(), slowest.end(), document,
        [](const Slow& one, const Slow& other) { return one.seconds > other.seconds; });
    slowest.insert(place, document);
    if (slowest.size() > slowestAtMost)
        slowest.pop_back();
}

Totals& Totals::operator+=(const Totals& other)
{
    journals += other.journals;
    runs += other.runs;
    runsWithoutEnd += other.runsWithoutEnd;
    pending += other.pending;
    done += other.done;
    repaired += other.repaired;
    skipped += other.skipped;
    lacking.insert(other.lacking.begin(), other.lacking.end());
    for (const auto& [reason, count] : other.failed)
        failed[reason] += count;
    pages += other.pages;
    files += other.files;
    bytes += other.bytes;
    spans.insert(spans.end(), other.spans.begin(), other.spans.end());
    for (const Slow& document : other.slowest)
        AddSlow(document);
    return *this;
}

} // namespace Korvel::App
