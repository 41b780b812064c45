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

/** A place, how many gaps are there, above each other, and how much text. */
struct Place
{
    double middle = 0;
    double width = 0;
    int gaps = 0;
    int texts = 0;
};

/** The places between ends of gaps, from the left. */
std::vector<Place> FindPlaces(const std::vector<Span>& gaps, const std::vector<Span>& texts)
{
    struct End
    {
        double place;
        int gaps;
        int texts;
    };
    std::vector<End> ends;
    ends.reserve(2 * (gaps.size() + texts.size()));
    for (const Span& gap : gaps) {
        ends.push_back({gap.left, 1, 0});
        ends.push_back({gap.right, -1, 0});
    }
    for (const Span& text : texts) {
        ends.push_back({text.left, 0, 1});
        ends.push_back({text.right, 0, -1});
    }
    std::sort(ends.begin(), ends.end(),
              [](const End& a, const End& b) { return a.place < b.place; });
    std::vector<Place> places;
    Place place;
    for (std::size_t i = 0; i + 1 < ends.size(); ++i) {
        place.gaps += ends[i].gaps;
        place.texts += ends[i].texts;
        place.width = ends[i + 1].place - ends[i].place;
        place.middle = ends[i].place + place.width / 2;
        if (place.gaps > 0 && place.width > 0)
            places.push_back(place);
    }
    return places;
}

/** The place of most gaps, and of those the widest. */
std::optional<Place> Densest(const std::vector<Place>& places)
{
    const auto densest =
        std::max_element(places.begin(), places.end(), [](const Place& one, const Place& other) {
            return one.gaps < other.gaps || (one.gaps == other.gaps && one.width < other.width);
        });
    return densest == places.end() ? std::nullopt : std::optional(*densest);
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

Rivers FindRivers(const Runs& runs, double em)
{
    constexpr int fewestGaps = fewestLines * scansALine;
    std::vector<Span> gaps;
    std::vector<Span> texts;
    for (std::vector<Span>& met : Scan(runs, em)) {
        AddGaps(met, narrowestInEms * em, gaps);
        texts.insert(texts.end(), met.begin(), met.end());
    }
    if (gaps.size() < fewestGaps)
        return {};
    const std::optional<Place> widest = Densest(FindPlaces(gaps, {}));
    if (!widest || widest->gaps < fewestGaps)
        return {};
    std::vector<Place> places = FindPlaces(gaps, texts);
    const int fewest = std::max(fewestGaps, (widest->gaps + 1) / 2);
    const auto isFull = [fewest](const Place& place) {
        return place.texts > 0 || place.gaps < fewest;
    };
    places.erase(std::remove_if(places.begin(), places.end(), isFull), places.end());
    const std::optional<Place> empty = Densest(places);
    return {widest->middle, empty ? std::optional(empty->middle) : std::nullopt};
}

} // namespace Korvel::Worker
