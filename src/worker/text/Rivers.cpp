#include "Rivers.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Korvel::Worker {

namespace {

constexpr double narrowestInEms = 0.9;
constexpr int fewestLines = 3;
constexpr int scansALine = 2;
constexpr int mostScans = 4000;

struct Span
{
    double left;
    double right;
};

/** What each of many horizontal lines through the runs meets, from top to bottom. */
std::vector<std::vector<Span>> Scan(const Runs& runs, double em)
{
    double top = runs.front()->box.top();
    double bottom = runs.front()->box.bottom();
    for (const Run* const run : runs) {
        top = std::min(top, run->box.top());
        bottom = std::max(bottom, run->box.bottom());
    }
    const double step = std::max(em / scansALine, (bottom - top) / mostScans);
    std::vector<std::vector<Span>> scans(std::size_t((bottom - top) / step) + 1);
    for (const Run* const run : runs) {
        // The ends of a box are hardly ever inked.
        const double inset = run->box.height() / 8;
        const auto first = std::size_t(std::ceil((run->box.top() + inset - top) / step));
        const auto last = std::size_t((run->box.bottom() - inset - top) / step);
        for (std::size_t scan = first; scan <= last && scan < scans.size(); ++scan)
            scans[scan].push_back({run->box.left(), run->box.right()});
    }
    return scans;
}

/** Adds the gaps between what one scan has met. */
void AddGaps(std::vector<Span>& met, double narrowest, std::vector<Span>& gaps)
{
    std::sort(met.begin(), met.end(), [](const Span& a, const Span& b) { return a.left < b.left; });
    for (std::size_t i = 1; i < met.size(); ++i) {
        met[i].right = std::max(met[i].right, met[i - 1].right);
        if (met[i].left - met[i - 1].right >= narrowest)
            gaps.push_back({met[i - 1].right, met[i].left});
    }
}

struct Densest
{
    double place = 0;
    int count = 0;
};

/** Where most of the gaps are above each other. */
Densest FindDensest(const std::vector<Span>& gaps)
{
    std::vector<std::pair<double, int>> ends;
    for (const Span& gap : gaps) {
        ends.emplace_back(gap.left, 1);
        ends.emplace_back(gap.right, -1);
    }
    std::sort(ends.begin(), ends.end());
    Densest densest;
    int count = 0;
    double widest = 0;
    for (std::size_t i = 0; i + 1 < ends.size(); ++i) {
        count += ends[i].second;
        const double width = ends[i + 1].first - ends[i].first;
        if (count > densest.count || (count == densest.count && width > widest)) {
            densest = {ends[i].first + width / 2, count};
            widest = width;
        }
    }
    return densest;
}

} // namespace

double UsualEm(const Runs& runs)
{
    std::vector<std::pair<double, int>> ems;
    int characters = 0;
    for (const Run* const run : runs) {
        ems.emplace_back(run->em, run->characters);
        characters += run->characters;
    }
    std::sort(ems.begin(), ems.end());
    int before = 0;
    for (const auto& [em, count] : ems) {
        before += count;
        if (before * 2 >= characters)
            return std::max(em, 1.0);
    }
    return 1;
}

std::optional<double> FindRiver(const Runs& runs, double em)
{
    std::vector<Span> gaps;
    for (std::vector<Span>& met : Scan(runs, em))
        AddGaps(met, narrowestInEms * em, gaps);
    const Densest densest = FindDensest(gaps);
    if (densest.count < fewestLines * scansALine)
        return std::nullopt;
    return densest.place;
}

} // namespace Korvel::Worker
