#include "DropCaps.h"

#include <algorithm>
#include <limits>

namespace Korvel::Worker {

namespace {

constexpr double smallestInEms = 1.8;
constexpr double widestGapInEms = 1.5;
constexpr double gapOfWordInEms = 0.5;
constexpr std::size_t most = 200; // a page of more single capitals has none that begin paragraphs

/** Whether the line is the first of those that stand beside the letter. */
bool Begins(const Run& cap, const Run& line)
{
    const double gap = line.box.left() - cap.box.right();
    const double down = line.box.center().y() - cap.box.top();
    return cap.em >= smallestInEms * line.em && line.baseline < cap.baseline - line.em / 2 &&
           gap > -line.em && gap < widestGapInEms * line.em && down > -line.em && down < cap.em / 2;
}

bool IsCapital(const Run& run)
{
    return run.characters == 1 && run.words.front().text.front().isUpper();
}

/** The single capitals that are large enough beside some of the runs. */
std::vector<std::size_t> FindCapitals(const std::vector<Run>& runs)
{
    double smallest = std::numeric_limits<double>::max();
    for (const Run& run : runs)
        smallest = std::min(smallest, run.em);
    std::vector<std::size_t> capitals;
    for (std::size_t i = 0; i < runs.size(); ++i) {
        if (IsCapital(runs[i]) && runs[i].em >= smallestInEms * smallest)
            capitals.push_back(i);
    }
    return capitals;
}

void Join(const Run& cap, Run& line)
{
    TextWord& first = line.words.front();
    if (line.box.left() - cap.box.right() > gapOfWordInEms * line.em) {
        line.words.insert(line.words.begin(), cap.words.front());
    } else {
        first.text.prepend(cap.words.front().text);
        first.box |= cap.words.front().box;
    }
    line.box.setLeft(cap.box.left());
    ++line.characters;
}

} // namespace

void JoinDropCaps(std::vector<Run>& runs)
{
    const std::vector<std::size_t> capitals = FindCapitals(runs);
    if (capitals.size() > most)
        return;
    std::vector<bool> isJoined(runs.size());
    for (const std::size_t i : capitals) {
        const auto line = std::find_if(runs.begin(), runs.end(), [&cap = runs[i]](const Run& one) {
            return Begins(cap, one);
        });
        if (line == runs.end())
            continue;
        Join(runs[i], *line);
        isJoined[i] = true;
    }
    std::size_t index = 0;
    runs.erase(
        std::remove_if(runs.begin(), runs.end(), [&](const Run&) { return isJoined[index++]; }),
        runs.end());
}

} // namespace Korvel::Worker
