#include "FindVertical.h"

#include "Script.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace Korvel::Worker {

namespace {

constexpr std::size_t fewestOfALine = 3;
constexpr std::ptrdiff_t mostComparisons = 10'000'000; // a page of more is as it is drawn

/** Whether `next` stands below `one` as in a line that is written downwards. */
bool IsBelow(const TextCharacter& next, const TextCharacter& one)
{
    const double em = one.fontSize;
    const double down = next.origin.y() - one.origin.y();
    return IsIdeographic(one.code) && IsIdeographic(next.code) &&
           std::abs(next.box.center().x() - one.box.center().x()) < em / 3 && down > em / 2 &&
           down < em * 3 / 2;
}

/** For each character whether it is in a line that is drawn downwards, one below the other. */
std::vector<bool> FindDrawnDownwards(const std::vector<TextCharacter>& characters)
{
    std::vector<bool> isVertical(characters.size());
    std::size_t first = 0;
    for (std::size_t i = 1; i <= characters.size(); ++i) {
        const bool goesOn = i < characters.size() && characters[i].turned == 0 &&
                            IsBelow(characters[i], characters[i - 1]);
        if (goesOn)
            continue;
        if (i - first >= fewestOfALine)
            std::fill(isVertical.begin() + std::ptrdiff_t(first),
                      isVertical.begin() + std::ptrdiff_t(i), true);
        first = i;
    }
    return isVertical;
}

/** Whether the nearest one of its size is above or below it, and none as near beside it. */
std::optional<bool> HasNeighborsBelow(const TextCharacter& one,
                                      const std::vector<TextCharacter>& characters)
{
    constexpr double farthest = 3; // in ems
    const double em = one.fontSize;
    double down = farthest * em;
    double along = farthest * em;
    for (const TextCharacter& other : characters) {
        const QPointF apart = other.box.center() - one.box.center();
        const double x = std::abs(apart.x());
        const double y = std::abs(apart.y());
        const bool isAlike = other.turned == 0 && IsIdeographic(other.code) &&
                             std::abs(other.fontSize - em) < em / 5 && &other != &one;
        if (isAlike && x < em / 3)
            down = std::min(down, y);
        else if (isAlike && y < em / 3)
            along = std::min(along, x);
    }
    return down == along ? std::nullopt : std::optional(down < along);
}

} // namespace

std::vector<bool> FindVertical(const std::vector<TextCharacter>& characters)
{
    std::vector<bool> isVertical = FindDrawnDownwards(characters);
    const auto others = std::count(isVertical.begin(), isVertical.end(), false);
    if (others == std::ptrdiff_t(characters.size()) ||
        others * std::ptrdiff_t(characters.size()) > mostComparisons)
        return isVertical;
    for (std::size_t i = 0; i < characters.size(); ++i) {
        if (isVertical[i] || characters[i].turned != 0 || !IsIdeographic(characters[i].code))
            continue;
        const bool wasVertical = i > 0 && isVertical[i - 1];
        isVertical[i] = HasNeighborsBelow(characters[i], characters).value_or(wasVertical);
    }
    return isVertical;
}

} // namespace Korvel::Worker
