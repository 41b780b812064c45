#include "PlaceMarks.h"

#include "Script.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <optional>
#include <utility>

#include <QChar>

namespace Korvel::Worker {

namespace {

// In ems.
constexpr double farthest = 0.25;
constexpr double farthestBaseline = 0.6;
constexpr double raised = 0.35; // an accent over a capital, and a little more
constexpr double sameBaseline = 0.005;

constexpr std::size_t mostMarks = 8;                // of one letter
constexpr std::size_t mostComparisons = 10'000'000; // a page of more marks keeps them as drawn

using Glyphs = std::vector<Glyph>;

bool IsMark(const Glyph& glyph)
{
    return IsCombining(glyph.code);
}

/** How far a mark at this place is beside the letter, in points; nothing where it is not at it. */
std::optional<double> DistanceOf(const Glyph& mark, double place, const Glyph& letter)
{
    const double em = std::max(mark.em, letter.em);
    if (std::abs(mark.baseline - letter.baseline) > farthestBaseline * em || IsMark(letter))
        return std::nullopt;
    const double beside = std::max({0.0, letter.box.left() - place, place - letter.box.right()});
    if (beside > farthest * em)
        return std::nullopt;
    return beside;
}

/** The letters before and after a mark, as they are drawn. */
struct Neighbors
{
    const Glyph& before;
    const Glyph& after;
};

Neighbors NeighborsOf(const Glyphs& glyphs, std::size_t index)
{
    std::size_t before = index;
    while (before > 0 && index - before < mostMarks && IsMark(glyphs[before]))
        --before;
    std::size_t after = index;
    while (after + 1 < glyphs.size() && after - index < mostMarks && IsMark(glyphs[after]))
        ++after;
    return {glyphs[before], glyphs[after]};
}

/** Whether the right one is drawn beside the left one. */
bool GoesOn(const Glyph& left, const Glyph& right)
{
    constexpr double widest = 0.4; // in ems, as spaces are
    const double em = std::max(left.em, right.em);
    return std::abs(right.box.left() - left.box.right()) < widest * em &&
           std::abs(right.baseline - left.baseline) < farthestBaseline * em &&
           left.box.center().x() < right.box.center().x();
}

/** Whether it is drawn behind the letter that it stands at, as that is read from right to left. */
bool IsBehindLetter(const Glyph& mark, const Neighbors& letters, double tolerance)
{
    const bool isBackwards = GoesOn(letters.before, letters.after);
    const auto distance =
        DistanceOf(mark, mark.middle, isBackwards ? letters.after : letters.before);
    return distance && *distance <= tolerance * mark.em;
}

/** Whether marks of letters from right to left are mostly drawn elsewhere than behind these. */
bool AreAnywhere(const Glyphs& glyphs)
{
    constexpr double slightly = 0.1; // in ems
    int marks = 0;
    int behind = 0;
    for (std::size_t i = 0; i < glyphs.size(); ++i) {
        if (!IsMark(glyphs[i]))
            continue;
        const Neighbors letters = NeighborsOf(glyphs, i);
        if (!IsRightToLeft(letters.before.code) && !IsRightToLeft(letters.after.code))
            continue;
        ++marks;
        behind += int(IsBehindLetter(glyphs[i], letters, slightly));
    }
    constexpr int fewestMarks = 8;
    return marks >= fewestMarks && behind * 2 < marks;
}

/** Whether it is drawn right before or after a letter that it stands at. */
bool IsAtNeighbor(const Glyph& mark, const Neighbors& letters)
{
    const double place = mark.box.center().x();
    const auto fromBefore = DistanceOf(mark, place, letters.before);
    const auto fromAfter = DistanceOf(mark, place, letters.after);
    const bool isOnLine = std::abs(mark.baseline - letters.after.baseline) < sameBaseline * mark.em;
    return fromBefore == 0.0 || fromAfter == 0.0 ||
           (fromBefore && mark.before == Glyph::Before::Nothing) || (fromAfter && isOnLine);
}

/** Whether it is an accent that is a character of its own, and drawn over the letter. */
bool IsOver(const Glyph& accent, const Glyph& letter)
{
    const double place = accent.box.center().x();
    return letter.box.left() < place && place < letter.box.right() &&
           std::abs(accent.baseline - letter.baseline) < raised * letter.em &&
           QChar::isLetter(letter.code) && CombiningFormOf(letter.code) == 0;
}

/** Whether it is to be put to the letter that it stands at. */
bool IsStray(const Glyphs& glyphs, std::size_t index, bool areAnywhere)
{
    const Glyph& glyph = glyphs[index];
    if (IsMark(glyph)) {
        const Neighbors letters = NeighborsOf(glyphs, index);
        return !(areAnywhere ? IsBehindLetter(glyph, letters, 0) : IsAtNeighbor(glyph, letters));
    }
    return CombiningFormOf(glyph.code) != 0 && !(index > 0 && IsOver(glyph, glyphs[index - 1])) &&
           !(index + 1 < glyphs.size() && IsOver(glyph, glyphs[index + 1]));
}

std::optional<std::size_t> LetterOf(const Glyphs& glyphs, const Glyph& mark)
{
    if (!IsMark(mark)) {
        const auto letter = std::find_if(glyphs.begin(), glyphs.end(),
                                         [&mark](const Glyph& one) { return IsOver(mark, one); });
        return letter == glyphs.end() ? std::nullopt
                                      : std::optional(std::size_t(letter - glyphs.begin()));
    }
    std::optional<std::size_t> nearest;
    double least = 0;
    for (std::size_t i = 0; i < glyphs.size(); ++i) {
        const auto distance = DistanceOf(mark, mark.middle, glyphs[i]);
        if (distance && (!nearest || *distance < least)) {
            nearest = i;
            least = *distance;
        }
    }
    return nearest;
}

/** Whether letters are drawn from left to right there, and read from right to left. */
bool IsBackwards(const Glyphs& glyphs, std::size_t letter)
{
    if (!IsRightToLeft(glyphs[letter].code))
        return false;
    const auto place = glyphs.begin() + std::ptrdiff_t(letter);
    const auto next = std::find_if_not(place + 1, glyphs.end(), IsMark);
    const auto last = std::find_if_not(std::make_reverse_iterator(place), glyphs.rend(), IsMark);
    return (next != glyphs.end() && GoesOn(*place, *next)) ||
           (last != glyphs.rend() && GoesOn(*last, *place));
}

} // namespace

void PlaceMarks(Glyphs& glyphs)
{
    std::vector<std::size_t> strays;
    const bool areAnywhere = AreAnywhere(glyphs);
    for (std::size_t i = 0; i < glyphs.size(); ++i) {
        if (IsStray(glyphs, i, areAnywhere))
            strays.push_back(i);
    }
    if (strays.empty() || strays.size() * glyphs.size() > mostComparisons)
        return;
    std::multimap<std::size_t, Glyph> marks;
    std::vector<bool> isMoved(glyphs.size());
    for (const std::size_t stray : strays) {
        if (const auto letter = LetterOf(glyphs, glyphs[stray])) {
            marks.emplace(*letter, glyphs[stray]);
            isMoved[stray] = true;
        }
    }
    Glyphs placed;
    for (std::size_t i = 0; i < glyphs.size(); ++i) {
        if (isMoved[i])
            continue;
        const auto [first, last] = marks.equal_range(i);
        const std::size_t begin = placed.size();
        placed.push_back(glyphs[i]);
        for (auto mark = first; mark != last; ++mark) {
            placed.push_back(mark->second);
            placed.back().before = Glyph::Before::Nothing;
        }
        if (first != last && IsBackwards(glyphs, i)) {
            std::reverse(placed.begin() + std::ptrdiff_t(begin), placed.end());
            std::swap(placed[begin].before, placed.back().before);
        }
    }
    glyphs = std::move(placed);
}

} // namespace Korvel::Worker
