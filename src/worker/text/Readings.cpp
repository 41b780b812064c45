#include "Readings.h"

#include "Paragraphs.h"
#include "ReadingOrder.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <utility>

#include <QChar>

namespace Korvel::Worker {

namespace {

template <typename Predicate>
bool AllOf(const Run& run, Predicate predicate)
{
    return std::all_of(run.words.begin(), run.words.end(), [&](const TextWord& word) {
        return std::all_of(word.text.begin(), word.text.end(), predicate);
    });
}

bool IsOfSyllabary(QChar one)
{
    constexpr ushort longVowel = 0x30fc;
    const QChar::Script script = one.script();
    return script == QChar::Script_Hiragana || script == QChar::Script_Katakana ||
           script == QChar::Script_Bopomofo || one.unicode() == longVowel;
}

bool HasKatakana(const Run& run)
{
    return !AllOf(run, [](QChar one) { return one.script() != QChar::Script_Katakana; });
}

bool HasIdeographs(const Run& run)
{
    return !AllOf(run, [](QChar one) { return one.script() != QChar::Script_Han; });
}

/** Whether the run stands close above characters of the other that are about twice as large. */
bool IsAbove(const Run& run, const Run& word)
{
    constexpr double mostOfEm = 0.65;
    constexpr double nearest = 0.25; // in ems of the word
    const double middle = run.box.center().x();
    return run.em <= mostOfEm * word.em &&
           std::abs(word.box.top() - run.box.bottom()) <= nearest * word.em &&
           middle >= word.box.left() - run.em && middle <= word.box.right() + run.em;
}

/** A line of a block, by their indices. */
using Place = std::pair<std::size_t, std::size_t>;

/** The line at the point; behind all blocks where there is none. */
Place PlaceOf(const QPointF& point, const std::vector<TextBlock>& blocks)
{
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        const std::vector<TextLine>& lines = blocks[i].lines;
        const auto line = std::find_if(lines.begin(), lines.end(), [&point](const TextLine& one) {
            return one.box.contains(point);
        });
        if (line != lines.end())
            return {i, std::size_t(line - lines.begin())};
    }
    return {blocks.size(), 0};
}

void Append(TextBlock& block, const std::vector<Run>& runs, const Affine& shown)
{
    for (TextBlock& part : FindParagraphs(InReadingOrder(runs), shown)) {
        block.box = block.lines.empty() ? part.box : block.box | part.box;
        std::move(part.lines.begin(), part.lines.end(), std::back_inserter(block.lines));
    }
}

} // namespace

std::vector<Reading> TakeReadings(std::vector<Run>& runs)
{
    constexpr std::size_t mostRuns = 5000;
    std::vector<const Run*> words;
    for (const Run& run : runs) {
        if (HasIdeographs(run))
            words.push_back(&run);
    }
    if (words.empty() || runs.size() > mostRuns)
        return {};
    std::vector<QPointF> places(runs.size());
    int found = 0;
    int ofKatakana = 0;
    for (std::size_t i = 0; i < runs.size(); ++i) {
        if (!AllOf(runs[i], IsOfSyllabary))
            continue;
        const auto word = std::find_if(words.begin(), words.end(),
                                       [&](const Run* one) { return IsAbove(runs[i], *one); });
        if (word == words.end())
            continue;
        places[i] = (*word)->box.center();
        ++found;
        ofKatakana += int(HasKatakana(runs[i]));
    }
    // Chinese that is read as Japanese has endings of its words in it, no readings.
    if (ofKatakana * 2 > found)
        return {};
    std::vector<Reading> readings;
    std::vector<Run> rest;
    for (std::size_t i = 0; i < runs.size(); ++i) {
        if (places[i].isNull())
            rest.push_back(std::move(runs[i]));
        else
            readings.push_back({std::move(runs[i]), places[i]});
    }
    runs = std::move(rest);
    return readings;
}

std::vector<TextBlock> PlaceReadings(std::vector<TextBlock> blocks,
                                     const std::vector<Reading>& readings, const Affine& shown)
{
    std::map<Place, std::vector<Run>> lines;
    for (const Reading& reading : readings)
        lines[PlaceOf(shown.Map(reading.word), blocks)].push_back(reading.run);
    std::vector<TextBlock> all;
    auto line = lines.begin();
    for (std::size_t i = 0; i <= blocks.size(); ++i) {
        if (i < blocks.size())
            all.push_back(std::move(blocks[i]));
        TextBlock behind;
        for (; line != lines.end() && line->first.first == i; ++line)
            Append(behind, line->second, shown);
        if (!behind.lines.empty())
            all.push_back(std::move(behind));
    }
    return all;
}

} // namespace Korvel::Worker
