#include "Prose.h"

#include "Rivers.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace Korvel::Worker {

namespace {

constexpr std::size_t fewestRows = 5;

/** The place that hardly any character ends before. */
double EdgeOf(std::vector<std::pair<double, int>> ends)
{
    constexpr double fewest = 0.02;
    std::sort(ends.begin(), ends.end());
    double before = 0;
    for (const auto& [end, characters] : ends)
        before += fewest * characters;
    const auto edge = std::find_if(ends.begin(), ends.end() - 1, [&before](const auto& end) {
        before -= end.second;
        return before <= 0;
    });
    return edge->first;
}

void FindEdges(const Runs& usual, Prose& prose)
{
    std::vector<std::pair<double, int>> lefts;
    std::vector<std::pair<double, int>> rights;
    for (const Run* const run : usual) {
        lefts.emplace_back(run->box.left(), run->characters);
        rights.emplace_back(-run->box.right(), run->characters);
    }
    prose.left = EdgeOf(std::move(lefts));
    prose.right = -EdgeOf(std::move(rights));
}

/** Whether it is in the usual letters, or in somewhat smaller ones between the edges. */
bool IsOfProse(const Run& run, const Prose& prose)
{
    constexpr double leastOfEm = 0.8;
    return prose.IsUsual(run.em) ||
           (run.em >= leastOfEm * prose.em && run.box.left() >= prose.left - run.em / 2 &&
            run.box.right() <= prose.right + run.em / 2);
}

void Append(ProseRow& row, const Run& run, const Prose& prose)
{
    const bool isEmpty = row.box.isNull();
    const bool isLeftmost = isEmpty || run.box.left() < row.box.left();
    const bool isRightmost = isEmpty || run.box.right() > row.box.right();
    if (prose.isRightToLeft ? isRightmost : isLeftmost)
        row.first = run.words.front().text.front();
    if (prose.isRightToLeft ? isLeftmost : isRightmost)
        row.last = run.words.back().text.back();
    row.box = isEmpty ? run.box : row.box | run.box;
    row.written += run.box.width();
    row.isUsual = row.isUsual || prose.IsUsual(run.em);
}

std::vector<ProseRow> RowsOf(Runs runs, const Prose& prose)
{
    std::stable_sort(runs.begin(), runs.end(),
                     [](const Run* a, const Run* b) { return a->baseline < b->baseline; });
    std::vector<ProseRow> rows;
    for (const Run* const run : runs) {
        constexpr double farthest = 0.25; // in ems
        if (rows.empty() || run->baseline - rows.back().baseline > farthest * run->em)
            rows.emplace_back().baseline = run->baseline;
        Append(rows.back(), *run, prose);
    }
    return rows;
}

double UsualPitch(const std::vector<ProseRow>& rows)
{
    std::vector<double> pitches;
    for (std::size_t i = 1; i < rows.size(); ++i)
        pitches.push_back(rows[i].baseline - rows[i - 1].baseline);
    const auto middle = pitches.begin() + std::ptrdiff_t(pitches.size() / 2);
    std::nth_element(pitches.begin(), middle, pitches.end());
    return *middle;
}

/** False where hardly any row fills the width. */
bool FindHeight(Prose& prose)
{
    std::size_t full = 0;
    for (const ProseRow& row : prose.rows) {
        if (!row.isUsual || !prose.IsFull(row))
            continue;
        if (full == 0)
            prose.top = row.box.top();
        prose.bottom = row.box.bottom();
        ++full;
    }
    return full >= fewestRows;
}

} // namespace

bool Prose::IsUsual(double size) const
{
    constexpr double leastOfEm = 0.93;
    return size > leastOfEm * em;
}

bool Prose::GoesOn(std::size_t row) const
{
    constexpr double widerThanUsual = 1.15;
    constexpr double indent = 0.8; // in ems
    if (row == 0 || row >= rows.size())
        return false;
    const ProseRow& before = rows[row - 1];
    const ProseRow& here = rows[row];
    const double inset =
        isRightToLeft ? before.box.right() - here.box.right() : here.box.left() - before.box.left();
    return here.baseline - before.baseline <= widerThanUsual * pitch && IsFull(before) &&
           !EndsSentence(before.last) && inset < indent * em;
}

std::optional<std::size_t> Prose::RowAt(double height) const
{
    const auto row = std::find_if(rows.begin(), rows.end(), [height](const ProseRow& one) {
        return one.box.top() <= height && height < one.box.bottom();
    });
    return row == rows.end() ? std::nullopt : std::optional(std::size_t(row - rows.begin()));
}

bool Prose::IsFull(const ProseRow& row) const
{
    constexpr double nearest = 0.85; // lines may be ragged
    constexpr double mostOfWidth = 0.6;
    constexpr double mostOfRow = 0.95;
    const double reach = isRightToLeft ? right - row.box.left() : row.box.right() - left;
    return reach >= nearest * Width() && row.written >= mostOfWidth * Width() &&
           row.written >= mostOfRow * row.box.width();
}

std::optional<Prose> FindProse(const std::vector<Run>& runs)
{
    Runs all;
    int direction = 0;
    for (const Run& run : runs) {
        all.push_back(&run);
        direction += run.direction;
    }
    Prose prose;
    prose.isRightToLeft = direction < 0;
    prose.em = UsualEm(all);
    Runs usual;
    std::copy_if(all.begin(), all.end(), std::back_inserter(usual),
                 [&prose](const Run* run) { return prose.IsUsual(run->em); });
    if (usual.size() < fewestRows)
        return std::nullopt;
    FindEdges(usual, prose);
    all.erase(std::remove_if(all.begin(), all.end(),
                             [&prose](const Run* run) { return !IsOfProse(*run, prose); }),
              all.end());
    prose.rows = RowsOf(std::move(all), prose);
    if (prose.rows.size() < fewestRows)
        return std::nullopt;
    prose.pitch = UsualPitch(prose.rows);
    return FindHeight(prose) ? std::optional(std::move(prose)) : std::nullopt;
}

bool EndsSentence(QChar last)
{
    return QStringLiteral(".!?:\u2014\u3002").contains(last);
}

} // namespace Korvel::Worker
