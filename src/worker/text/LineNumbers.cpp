#include "LineNumbers.h"

#include "Script.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <optional>

namespace Korvel::Worker {

namespace {

constexpr std::size_t fewest = 5;
constexpr int fewestLines = 10;
constexpr double leastHeight = 0.4; // of all that stands on the page
constexpr std::size_t most = 1000;  // a page of more is a table

// In ems.
constexpr double aligned = 0.2;
constexpr double narrowestGap = 0.75;
constexpr double widestGap = 4;

/** A number that a run is, or begins or ends with. */
struct Number
{
    std::size_t run;
    bool isFirst;
    int value;
    const TextWord* word;
};

using Chain = std::vector<Number>;

std::optional<int> ValueOf(const QString& text)
{
    constexpr int mostDigits = 5;
    const bool isNumber =
        text.size() <= mostDigits && std::all_of(text.begin(), text.end(), [](QChar one) {
            return one >= QLatin1Char('0') && one <= QLatin1Char('9');
        });
    return isNumber ? std::optional(text.toInt()) : std::nullopt;
}

/** Whether there is more white between them than between words of a sentence. */
bool AreApart(const TextWord& one, const TextWord& next)
{
    const double gap =
        std::max(next.box.left() - one.box.right(), one.box.left() - next.box.right());
    return gap >= narrowestGap * std::max(one.size, next.size);
}

Chain FindNumbers(const std::vector<Run>& runs)
{
    Chain numbers;
    for (std::size_t i = 0; i < runs.size(); ++i) {
        const std::vector<TextWord>& words = runs[i].words;
        const auto first = ValueOf(words.front().text);
        if (first && (words.size() == 1 || AreApart(words[0], words[1])))
            numbers.push_back({i, true, *first, &words.front()});
        const auto last = ValueOf(words.back().text);
        if (last && words.size() > 1 && AreApart(*(words.end() - 2), words.back()))
            numbers.push_back({i, false, *last, &words.back()});
    }
    return numbers;
}

/** Whether it stands below the last one of the chain, and the chain counts on to it. */
bool GoesOn(const Chain& chain, const Number& next)
{
    const TextWord& above = *chain.back().word;
    const TextWord& below = *next.word;
    const double near = aligned * above.size;
    const int step = next.value - chain.back().value;
    return (std::abs(above.box.right() - below.box.right()) <= near ||
            std::abs(above.box.left() - below.box.left()) <= near) &&
           std::abs(above.size - below.size) <= near && below.box.top() > above.box.top() &&
           step > 0 && (chain.size() < 2 || step == chain.back().value - (chain.end() - 2)->value);
}

std::vector<Chain> FindChains(Chain numbers)
{
    std::stable_sort(numbers.begin(), numbers.end(), [](const Number& a, const Number& b) {
        return a.word->box.top() < b.word->box.top();
    });
    std::vector<Chain> chains;
    for (const Number& number : numbers) {
        const auto chain = std::find_if(chains.rbegin(), chains.rend(),
                                        [&](const Chain& one) { return GoesOn(one, number); });
        if (chain == chains.rend())
            chains.push_back({number});
        else
            chain->push_back(number);
    }
    return chains;
}

/** A line of text beside a number. */
struct Line
{
    double left;
    double right;
    int words;
    int characters;
    QChar first;

    double Width() const { return right - left; }
};

using Lines = std::vector<Line>;

Line LineOf(std::vector<TextWord>::const_iterator first, std::vector<TextWord>::const_iterator end)
{
    QRectF box = first->box;
    int characters = 0;
    std::for_each(first, end, [&](const TextWord& word) {
        box |= word.box;
        characters += int(word.text.size());
    });
    return {box.left(), box.right(), int(end - first), characters, first->text.front()};
}

/** What stands beside the number: the rest of its run, or the next run to the right or to the left.
 */
std::optional<Line> LineBeside(const Number& number, const std::vector<Run>& runs, bool isRight)
{
    const std::vector<TextWord>& words = runs[number.run].words;
    const QRectF& box = number.word->box;
    if (words.size() > 1) {
        const Line rest = number.isFirst ? LineOf(words.begin() + 1, words.end())
                                         : LineOf(words.begin(), words.end() - 1);
        if (isRight == (rest.left > box.left()))
            return rest;
    }
    std::optional<Line> nearest;
    double least = std::numeric_limits<double>::max();
    for (const Run& run : runs) {
        const double gap = isRight ? run.box.left() - box.right() : box.left() - run.box.right();
        const double middle = box.center().y();
        if (gap < 0 || gap > std::min(least, widestGap * run.em) || middle < run.box.top() ||
            middle > run.box.bottom())
            continue;
        least = gap;
        nearest = LineOf(run.words.begin(), run.words.end());
    }
    return nearest;
}

Lines LinesBeside(const Chain& chain, const std::vector<Run>& runs, bool isRight)
{
    Lines lines;
    for (const Number& number : chain) {
        if (const auto line = LineBeside(number, runs, isRight))
            lines.push_back(*line);
    }
    return lines;
}

/** Whether it is of several words, or of letters that stand without spaces between words. */
bool IsSentence(const Line& line)
{
    constexpr int fewestWords = 4;
    constexpr int fewestCharacters = 10;
    return line.words >= fewestWords ||
           (line.characters >= fewestCharacters && IsIdeographic(line.first.unicode()));
}

/** Whether it goes on with a sentence: letters that are neither small nor large begin any line. */
bool GoesOnWithSentence(const Line& line, double width)
{
    constexpr double justified = 0.95;
    return line.first.isLower() ||
           (line.first.category() == QChar::Letter_Other && line.Width() >= justified * width);
}

/** Whether most lines are of words and as wide as a column, and some go on with a sentence. */
bool AreProse(const Lines& lines)
{
    if (lines.size() < fewest)
        return false;
    double left = lines.front().left;
    double right = lines.front().right;
    for (const Line& line : lines) {
        left = std::min(left, line.left);
        right = std::max(right, line.right);
    }
    constexpr double mostOfWidth = 0.7;
    const double width = right - left;
    const auto wide = std::count_if(lines.begin(), lines.end(), [&](const Line& line) {
        return IsSentence(line) && line.Width() >= mostOfWidth * width;
    });
    const auto going = std::count_if(lines.begin(), lines.end(), [&](const Line& line) {
        return GoesOnWithSentence(line, width);
    });
    return wide * 2 >= std::ptrdiff_t(lines.size()) && going * 3 >= std::ptrdiff_t(lines.size());
}

double HeightOf(const std::vector<Run>& runs)
{
    double top = runs.front().box.top();
    double bottom = runs.front().box.bottom();
    for (const Run& run : runs) {
        top = std::min(top, run.box.top());
        bottom = std::max(bottom, run.box.bottom());
    }
    return bottom - top;
}

bool AreLineNumbers(const Chain& chain, const std::vector<Run>& runs, double least)
{
    if (chain.size() < fewest || chain.back().value - chain.front().value < fewestLines - 1 ||
        chain.back().word->box.bottom() - chain.front().word->box.top() < least)
        return false;
    const Lines right = LinesBeside(chain, runs, true);
    const Lines left = LinesBeside(chain, runs, false);
    return AreProse(right.size() >= left.size() ? right : left);
}

/** Takes a number out of its run, which is empty if it was no more than that. */
TextWord Take(const Number& number, Run& run)
{
    const auto word = number.isFirst ? run.words.begin() : run.words.end() - 1;
    TextWord taken = std::move(*word);
    run.words.erase(word);
    run.characters -= int(taken.text.size());
    if (run.words.empty())
        return taken;
    run.box = run.words.front().box;
    for (const TextWord& one : run.words)
        run.box |= one.box;
    return taken;
}

} // namespace

std::vector<TextBlock> TakeLineNumbers(std::vector<Run>& runs, const Affine& shown)
{
    const Chain numbers = FindNumbers(runs);
    if (numbers.size() < fewest || numbers.size() > most)
        return {};
    const double least = leastHeight * HeightOf(runs);
    std::vector<Chain> chains = FindChains(numbers);
    chains.erase(
        std::remove_if(chains.begin(), chains.end(),
                       [&](const Chain& one) { return !AreLineNumbers(one, runs, least); }),
        chains.end());
    std::sort(chains.begin(), chains.end(),
              [](const Chain& a, const Chain& b) { return a.front().value < b.front().value; });
    std::vector<TextBlock> blocks;
    for (const Chain& chain : chains) {
        TextBlock block;
        for (const Number& number : chain) {
            TextWord word = Take(number, runs[number.run]);
            word.box = shown.Map(word.box);
            block.lines.push_back({{word}, word.box});
            block.box = block.lines.size() == 1 ? word.box : block.box | word.box;
        }
        blocks.push_back(std::move(block));
    }
    runs.erase(
        std::remove_if(runs.begin(), runs.end(), [](const Run& run) { return run.words.empty(); }),
        runs.end());
    return blocks;
}

} // namespace Korvel::Worker
