#include "ReadingOrder.h"

#include "Limits.h"
#include "Rivers.h"
#include "SortLine.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>

namespace Korvel::Worker {

namespace {

constexpr int deepest = 8;
constexpr double whiteBetweenPartsInEms = 1.2;

bool IsOfOneRow(const QRectF& box, double baseline, double em, const Run& run)
{
    if (std::abs(run.baseline - baseline) <= 0.25 * std::max(em, run.em))
        return true;
    const double shared =
        std::min(box.bottom(), run.box.bottom()) - std::max(box.top(), run.box.top());
    return shared >= 0.5 * std::min(box.height(), run.box.height());
}

bool IsOfRow(const RunLine& line, const Run& run)
{
    return IsOfOneRow(line.box, line.baseline, line.em, run);
}

void Append(RunLine& line, const Run& run)
{
    if (run.em > line.em) {
        line.em = run.em;
        line.baseline = run.baseline;
    }
    line.box = line.runs.empty() ? run.box : line.box | run.box;
    line.runs.push_back(&run);
}

/** How many more letters are written to the right than to the left. */
long DirectionOf(const Runs& runs)
{
    long direction = 0;
    for (const Run* const run : runs)
        direction += run->direction;
    return direction;
}

bool IsRightToLeft(const Runs& runs)
{
    return DirectionOf(runs) < 0;
}

/** The lines of one side of a river, and whether they are prose: long, and as wide as the side. */
struct Side
{
    int lines = 0;
    bool isProse = false;
    bool isWide = false;
};

Side Describe(Runs runs)
{
    std::sort(runs.begin(), runs.end(),
              [](const Run* a, const Run* b) { return a->baseline < b->baseline; });
    double left = runs.front()->box.left();
    double right = runs.front()->box.right();
    int characters = 0;
    std::vector<QRectF> lines;
    double baseline = 0;
    for (const Run* const run : runs) {
        left = std::min(left, run->box.left());
        right = std::max(right, run->box.right());
        characters += run->characters;
        if (lines.empty() || run->baseline - baseline > 0.5 * run->em) {
            lines.push_back(run->box);
            baseline = run->baseline;
        } else {
            lines.back() |= run->box;
        }
    }
    constexpr double mostOfWidth = 0.7;
    const auto wide = std::count_if(lines.begin(), lines.end(), [&](const QRectF& line) {
        return line.width() >= mostOfWidth * (right - left);
    });
    constexpr int fewestLines = 3;
    constexpr int fewestCharacters = 15;
    Side side;
    side.lines = int(lines.size());
    side.isWide = wide * 2 >= side.lines;
    side.isProse =
        side.lines >= fewestLines && side.isWide && characters >= fewestCharacters * side.lines;
    return side;
}

/** How often the drawing goes from one side of the river to the other. */
int Crossings(const Runs& band, double river)
{
    int crossings = 0;
    for (std::size_t i = 1; i < band.size(); ++i) {
        const bool wasLeft = band[i - 1]->box.center().x() < river;
        const bool isLeft = band[i]->box.center().x() < river;
        crossings += int(wasLeft != isLeft);
    }
    return crossings;
}

struct Sides
{
    Runs left;
    Runs right;
};

Sides Part(const Runs& band, double river)
{
    Sides sides;
    for (const Run* const run : band)
        (run->box.center().x() < river ? sides.left : sides.right).push_back(run);
    return sides;
}

constexpr int fewestLinesOfAColumn = 6;

/** Whether what is on either side is drawn as a whole, with few turns from one to the other. */
bool AreDrawnApart(int crossings, int fewerLines)
{
    // A heading may be drawn before two cells, and two lines forth and back. What stands below
    // columns, as footnotes do, may be drawn behind both, and posters box after box.
    return crossings <= 1 || crossings * fewestLinesOfAColumn <= fewerLines ||
           (crossings == 2 && fewerLines >= fewestLinesOfAColumn);
}

bool AreColumns(const Runs& band, const Sides& sides, double river)
{
    if (sides.left.empty() || sides.right.empty())
        return false;
    const Side left = Describe(sides.left);
    const Side right = Describe(sides.right);
    const int fewer = std::min(left.lines, right.lines);
    if (fewer < 2)
        return false;
    const int crossings = Crossings(band, river);
    // Cells of several lines are drawn one after the other, lines of columns in turn.
    return AreDrawnApart(crossings, fewer) || (left.isProse && right.isProse && crossings >= fewer);
}

/** Whether it parts columns that reach over all of the region, each drawn as a whole. */
bool PartsWholeColumns(const Runs& runs, double river)
{
    const Sides sides = Part(runs, river);
    const int fewer = std::min(Describe(sides.left).lines, Describe(sides.right).lines);
    return fewer >= fewestLinesOfAColumn && AreDrawnApart(Crossings(runs, river), fewer);
}

/** From where to where something stands, seen from the side. */
struct Extent
{
    double top;
    double bottom;

    double Height() const { return bottom - top; }
};

/** The heights at which something stands, parted by white over the whole width, from the top. */
std::vector<Extent> ExtentsOf(Runs runs)
{
    std::sort(runs.begin(), runs.end(),
              [](const Run* a, const Run* b) { return a->box.top() < b->box.top(); });
    std::vector<Extent> extents;
    for (const Run* const run : runs) {
        if (extents.empty() || run->box.top() > extents.back().bottom)
            extents.push_back({run->box.top(), run->box.bottom()});
        else
            extents.back().bottom = std::max(extents.back().bottom, run->box.bottom());
    }
    return extents;
}

/** Whether the first of them is one row with more white below it than there is further on. */
bool StandsApart(const Extent& row, const Extent& next, const Extent* afterNext, double em)
{
    constexpr double highest = 1.6; // in ems
    constexpr double farther = 1.5;
    const auto white = [](const Extent& a, const Extent& b) {
        return std::max(b.top - a.bottom, a.top - b.bottom);
    };
    return row.Height() <= highest * em && white(row, next) >= whiteBetweenPartsInEms * em &&
           (!afterNext || white(row, next) >= farther * white(next, *afterNext));
}

/** A page without the rows that stand apart at its ends, as running heads do, and these. */
struct Page
{
    Runs head;
    Runs body;
    Runs foot;
};

Page PartHeads(const Runs& runs, double em)
{
    const std::vector<Extent> extents = ExtentsOf(runs);
    const std::size_t count = extents.size();
    const bool isLong = count > 2;
    const bool hasHead =
        count > 1 && StandsApart(extents[0], extents[1], isLong ? &extents[2] : nullptr, em);
    const bool hasFoot =
        isLong && StandsApart(extents[count - 1], extents[count - 2], &extents[count - 3], em);
    Page page;
    for (const Run* const run : runs) {
        const double place = run->box.center().y();
        const bool isHead = hasHead && place < extents[0].bottom;
        const bool isFoot = hasFoot && place > extents[count - 1].top;
        (isHead ? page.head : isFoot ? page.foot : page.body).push_back(run);
    }
    return page;
}

bool AreOnOneLine(const Run& one, const Run& other)
{
    return std::abs(one.baseline - other.baseline) <= 0.25 * std::min(one.em, other.em);
}

/** Runs by the numbers of their bands, from the top: lines that cross a river have odd ones. */
using Bands = std::map<std::ptrdiff_t, Runs>;

Bands BandsOf(const Runs& runs, double river)
{
    const auto crosses = [river](const Run* run) {
        return run->box.left() < river && river < run->box.right();
    };
    const auto isHigher = [](const Run* a, const Run* b) {
        return a->box.center().y() < b->box.center().y();
    };
    Runs crossing;
    std::copy_if(runs.begin(), runs.end(), std::back_inserter(crossing), crosses);
    std::sort(crossing.begin(), crossing.end(), isHigher);
    Bands bands;
    for (const Run* const run : runs) {
        const auto next = std::lower_bound(crossing.begin(), crossing.end(), run, isHigher);
        const bool isOfNext =
            crosses(run) || (next != crossing.end() && AreOnOneLine(**next, *run));
        const bool isOfLast = next != crossing.begin() && AreOnOneLine(**std::prev(next), *run);
        bands[2 * (next - crossing.begin()) + (isOfNext ? 1 : isOfLast ? -1 : 0)].push_back(run);
    }
    return bands;
}

/** Parts of runs that white parts over their whole width, from the top, each as it is drawn. */
std::vector<Runs> PartsOf(Runs runs, double em)
{
    std::stable_sort(runs.begin(), runs.end(),
                     [](const Run* a, const Run* b) { return a->box.top() < b->box.top(); });
    std::vector<Runs> parts;
    double bottom = 0;
    for (const Run* const run : runs) {
        if (parts.empty() || run->box.top() - bottom > whiteBetweenPartsInEms * em) {
            parts.emplace_back();
            bottom = run->box.top();
        }
        parts.back().push_back(run);
        bottom = std::max(bottom, run->box.bottom());
    }
    for (Runs& part : parts)
        std::sort(part.begin(), part.end());
    return parts;
}

/** Parts a band that is no columns as a whole: a table may stand above them, or below. */
std::vector<Runs> ColumnsApart(const Runs& band, double river, double em)
{
    constexpr std::size_t mostParts = 24; // as each is tried with those before
    const std::vector<Runs> parts = PartsOf(band, em);
    if (parts.size() > mostParts)
        return {band};
    const auto isLine = [](const Runs& part) { // a heading, of what is below it on both sides
        return std::all_of(part.begin(), part.end(),
                           [&part](const Run* run) { return AreOnOneLine(*part.front(), *run); });
    };
    std::vector<Runs> groups;
    for (const Runs& part : parts) {
        if (groups.empty() || isLine(groups.back())) {
            groups.push_back(part);
            continue;
        }
        Runs both = groups.back();
        both.insert(both.end(), part.begin(), part.end());
        std::sort(both.begin(), both.end());
        if (AreColumns(both, Part(both, river), river))
            groups.back() = std::move(both);
        else
            groups.push_back(part);
    }
    return groups;
}

class Cutter
{
public:
    explicit Cutter(bool isRightToLeft) : isRightToLeft(isRightToLeft) {}

    /** Cuts a page. Its heads would be columns' first lines else. */
    void Cut(const Runs& runs)
    {
        const Page page = PartHeads(runs, UsualEm(runs));
        for (const Runs& part : {page.head, page.body, page.foot})
            Cut(part, 0);
    }

    void Cut(const Runs& runs, int depth)
    {
        if (runs.empty())
            return;
        const double em = UsualEm(runs);
        const Rivers rivers = depth < deepest ? FindRivers(runs, em) : Rivers();
        const bool areColumns = rivers.empty && PartsWholeColumns(runs, *rivers.empty);
        const auto river = areColumns ? rivers.empty : rivers.widest;
        if (!river || !CutAlong(runs, *river, em, depth))
            CutAcross(runs, em);
    }

    std::vector<Region> regions;

private:
    bool CutAlong(const Runs& runs, double river, double em, int depth);
    void CutAcross(const Runs& runs, double em);
    void AddRegion(const Runs& runs);

    const bool isRightToLeft;
};

/** False where the river parts no columns. */
bool Cutter::CutAlong(const Runs& runs, double river, double em, int depth)
{
    bool hasColumns = false;
    std::vector<std::pair<Runs, Sides>> cuts;
    const auto addColumns = [&](const Runs& band) {
        Sides sides = Part(band, river);
        if (!AreColumns(band, sides, river))
            return false;
        cuts.emplace_back(band, std::move(sides));
        hasColumns = true;
        return true;
    };
    for (const auto& [number, band] : BandsOf(runs, river)) {
        const bool crosses = number % 2 != 0;
        if (crosses)
            cuts.emplace_back(band, Sides());
        if (crosses || addColumns(band))
            continue;
        for (const Runs& part : ColumnsApart(band, river, em)) {
            if (!addColumns(part))
                cuts.emplace_back(part, Sides());
        }
    }
    if (!hasColumns)
        return false;
    Runs across;
    const auto flush = [&] {
        std::sort(across.begin(), across.end()); // as they are drawn
        Cut(std::exchange(across, {}), depth + 1);
    };
    for (auto& [band, sides] : cuts) {
        if (sides.left.empty()) {
            across.insert(across.end(), band.begin(), band.end());
            continue;
        }
        flush();
        Cut(isRightToLeft ? sides.right : sides.left, depth + 1);
        Cut(isRightToLeft ? sides.left : sides.right, depth + 1);
    }
    flush();
    return true;
}

void Cutter::CutAcross(const Runs& runs, double em)
{
    for (const Runs& part : PartsOf(runs, em))
        AddRegion(part);
}

/** Whether it stands before the runs of the line, as they are read. */
bool GoesBack(const RunLine& line, const Run& run)
{
    const Run& last = *line.runs.back();
    const double overlap = 0.5 * std::max(last.em, run.em);
    const bool isLeft = run.box.right() <= last.box.left() + overlap;
    const bool isRight = run.box.left() >= last.box.right() - overlap;
    const bool mayGoLeft = last.IsRightToLeft() || run.IsRightToLeft();
    return !isRight && !(isLeft && mayGoLeft);
}

/** The lowest baselines of what has been drawn, in steps from left to right. */
class Skyline
{
public:
    Skyline(double left, double right)
        : left(left), step(std::max((right - left) / steps, 0.01)), lowest(steps + 1, -1e9)
    {
    }

    /** Whether it is drawn above what is there. */
    bool IsBelowThatOf(const Run& run)
    {
        const double inset = run.box.width() / 10;
        const int first = StepOf(run.box.left() + inset);
        const int last = StepOf(run.box.right() - inset);
        bool isAbove = false;
        for (int i = first; i <= last; ++i) {
            double& there = lowest[std::size_t(i)];
            isAbove = isAbove || run.baseline < there - 0.5 * run.em;
            there = std::max(there, run.baseline);
        }
        return isAbove;
    }

private:
    static constexpr int steps = 128;

    int StepOf(double x) const { return std::clamp(int((x - left) / step), 0, steps); }

    const double left;
    const double step;
    std::vector<double> lowest;
};

/** Whether the run goes on with a line when only limits of either's signs have been drawn since. */
bool GoesOnBehindLimits(Region::const_iterator line, Region::const_iterator end, const Run& run)
{
    if (!IsOfRow(*line, run) || GoesBack(*line, run))
        return false;
    RunLine next;
    Append(next, run);
    return std::all_of(line + 1, end, [&](const RunLine& limits) {
        return IsLimit(limits, *line) || IsLimit(limits, next);
    });
}

/** The line that the run goes on with, those of limits in their places; null for none. */
RunLine* FindLine(Region& lines, const Run& run)
{
    if (!lines.empty() && IsOfRow(lines.back(), run))
        return &lines.back();
    constexpr std::ptrdiff_t fewBack = 4; // a line, and limits on both sides that go on later
    const auto farthest = lines.end() - std::min(fewBack, std::ptrdiff_t(lines.size()));
    for (auto line = lines.end(); line != farthest;) {
        --line;
        if (!GoesOnBehindLimits(line, lines.end(), run))
            continue;
        const auto below = std::stable_partition(line + 1, lines.end(), [&](const RunLine& limits) {
            return limits.baseline <= line->baseline;
        });
        return &*(std::rotate(line, line + 1, below));
    }
    return nullptr;
}

/** Puts limits above one line that have been drawn sign by sign beside each other. */
void JoinLimitsAbove(Region& lines)
{
    for (std::size_t i = 2; i < lines.size(); ++i) {
        RunLine& limits = lines[i - 2];
        const RunLine& further = lines[i - 1];
        const Run& first = *further.runs.front();
        if (!IsLimit(limits, lines[i]) || !IsLimit(further, lines[i]) || !IsOfRow(limits, first) ||
            GoesBack(limits, first))
            continue;
        for (const Run* const run : further.runs)
            Append(limits, *run);
        lines.erase(lines.begin() + std::ptrdiff_t(i) - 1);
        --i;
    }
}

/** The lines as they are drawn; none where that goes up or back. */
Region AsDrawn(const Runs& runs)
{
    double left = runs.front()->box.left();
    double right = runs.front()->box.right();
    for (const Run* const run : runs) {
        left = std::min(left, run->box.left());
        right = std::max(right, run->box.right());
    }
    Skyline skyline(left, right);
    Region lines;
    for (const Run* const run : runs) {
        if (skyline.IsBelowThatOf(*run))
            return {};
        RunLine* line = FindLine(lines, *run);
        if (!line)
            line = &lines.emplace_back();
        else if (GoesBack(*line, *run))
            return {};
        Append(*line, *run);
    }
    JoinLimitsAbove(lines);
    return lines;
}

/** The lines by where they stand. */
Region AsPlaced(Runs runs, bool isRightToLeft)
{
    // Large runs first, so that superscripts come to the line that they stand on.
    std::stable_sort(runs.begin(), runs.end(),
                     [](const Run* a, const Run* b) { return a->baseline < b->baseline; });
    Region lines;
    for (const Run* const run : runs) {
        constexpr std::ptrdiff_t fewBack = 4;
        const auto begin = lines.rbegin();
        const auto end = begin + std::min(fewBack, std::ptrdiff_t(lines.size()));
        const auto line =
            std::find_if(begin, end, [run](const RunLine& one) { return IsOfRow(one, *run); });
        if (line == end)
            Append(lines.emplace_back(), *run);
        else
            Append(*line, *run);
    }
    std::stable_sort(lines.begin(), lines.end(),
                     [](const RunLine& a, const RunLine& b) { return a.baseline < b.baseline; });
    for (RunLine& line : lines)
        SortLine(line.runs, isRightToLeft);
    return lines;
}

double UsualEmOf(const RunLine& line)
{
    std::vector<double> ems;
    for (const Run* const run : line.runs) {
        for (const TextWord& word : run->words)
            ems.push_back(word.size);
    }
    const auto middle = ems.begin() + std::ptrdiff_t(ems.size() / 2);
    std::nth_element(ems.begin(), middle, ems.end());
    return *middle;
}

/** Whether it is a line of prose that begins on the right, which no cells and no signs do. */
bool IsProseFromTheRight(Runs runs)
{
    constexpr double widestSpace = 1; // in ems
    constexpr int fewestLetters = 8;  // more than others; with fewer, it may be of a listing
    std::sort(runs.begin(), runs.end(),
              [](const Run* a, const Run* b) { return a->box.left() < b->box.left(); });
    const auto areApart = [](const Run* a, const Run* b) {
        return b->box.left() - a->box.right() > widestSpace * std::max(a->em, b->em);
    };
    return runs.back()->IsRightToLeft() && DirectionOf(runs) <= -fewestLetters &&
           std::adjacent_find(runs.begin(), runs.end(), areApart) == runs.end();
}

/**
 * Whether it is a line from the right: what has other letters may be a row, or of a listing, and
 * so may a few letters be on a page of other text.
 */
bool IsFromTheRight(const Runs& runs, bool isPageFromTheRight)
{
    if (isPageFromTheRight && IsProseFromTheRight(runs))
        return true;
    const int fewestLetters = isPageFromTheRight ? 1 : 8;
    int letters = 0;
    for (const Run* const run : runs) {
        if (run->direction > 0)
            return false;
        letters -= run->direction;
    }
    return letters >= fewestLetters;
}

void Cutter::AddRegion(const Runs& runs)
{
    const bool goesLeft = IsRightToLeft(runs);
    Region lines = goesLeft ? Region() : AsDrawn(runs);
    if (lines.empty())
        lines = AsPlaced(runs, goesLeft);
    for (RunLine& line : lines) {
        if (!goesLeft && IsFromTheRight(line.runs, isRightToLeft))
            SortLine(line.runs, true);
    }
    for (RunLine& line : lines)
        line.usualEm = UsualEmOf(line);
    regions.push_back(std::move(lines));
}

} // namespace

std::vector<Region> InReadingOrder(const std::vector<Run>& runs)
{
    Runs all;
    for (const Run& run : runs)
        all.push_back(&run);
    Cutter cutter(IsRightToLeft(all));
    cutter.Cut(all);
    return cutter.regions;
}

} // namespace Korvel::Worker
