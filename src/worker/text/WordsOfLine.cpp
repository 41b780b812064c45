#include "WordsOfLine.h"

#include "Script.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Korvel::Worker {

namespace {

bool IsMark(QChar character)
{
    return IsCombining(character.unicode());
}

/** Whether the letters that the two words have where they meet are both written leftwards. */
bool MeetLeftwards(const QString& word, const QString& rest)
{
    const auto last = std::find_if_not(word.rbegin(), word.rend(), IsMark);
    const auto first = std::find_if_not(rest.begin(), rest.end(), IsMark);
    return last != word.rend() && first != rest.end() && IsRightToLeft(last->unicode()) &&
           IsRightToLeft(first->unicode());
}

/** Whether they are of a script without spaces, in parts as what has its reading beside it is. */
bool MeetAtIdeographs(const TextWord& word, const TextWord& rest)
{
    constexpr double farthest = 0.45; // in ems
    const double gap = (rest.box.left() - word.box.right()) / std::min(word.size, rest.size);
    return IsIdeographic(word.text.back().unicode()) &&
           IsIdeographic(rest.text.front().unicode()) && std::abs(gap) < farthest;
}

/** Whether the word goes on where the other one ends, in a line from the right in either direction.
 */
bool IsRestOf(const TextWord& word, const TextWord& rest, bool isOfLeftwardsLine)
{
    if (MeetAtIdeographs(word, rest))
        return true;
    if (!isOfLeftwardsLine && !MeetLeftwards(word.text, rest.text))
        return false;
    // In ems. A mark may stand beside its letter, over the next one.
    constexpr double touching = 0.1;
    constexpr double widthOfMark = 0.6;
    const bool meetAtMark = IsMark(word.text.back()) || IsMark(rest.text.front());
    const double em = std::min(word.size, rest.size);
    const double gap = (word.box.left() - rest.box.right()) / em;
    const double gapRightwards = (rest.box.left() - word.box.right()) / em;
    return (gap < touching && gap > (meetAtMark ? -widthOfMark : -touching)) ||
           (isOfLeftwardsLine && std::abs(gapRightwards) < touching);
}

/** A word of punctuation as it is read from right to left. */
void TurnAround(TextWord& word)
{
    QString turned;
    for (const QChar one : word.text)
        turned.prepend(one.mirroredChar());
    word.text = turned;
}

bool IsLeftwards(const RunLine& line)
{
    long direction = 0;
    for (const Run* const run : line.runs)
        direction += run->direction;
    return direction < 0;
}

/** Whether it stands between runs that are written rightwards. */
bool IsWithinRightwards(const RunLine& line, std::size_t run)
{
    return run > 0 && run + 1 < line.runs.size() && line.runs[run - 1]->direction > 0 &&
           line.runs[run + 1]->direction > 0;
}

/** Puts marks at the beginning of a word, as they may be drawn, behind its first letter. */
void PutMarksBehindLetter(QString& word)
{
    const auto letter = std::find_if_not(word.begin(), word.end(), IsMark);
    if (letter != word.end() && IsRightToLeft(letter->unicode()))
        std::rotate(word.begin(), letter, letter + 1);
}

/** The words of the line's runs, those that begin a run marked. */
std::vector<std::pair<TextWord, bool>> WordsOfRuns(const RunLine& line, bool isLeftwards)
{
    std::vector<std::pair<TextWord, bool>> words;
    for (std::size_t i = 0; i < line.runs.size(); ++i) {
        const Run& run = *line.runs[i];
        const bool isTurned = isLeftwards && run.isPunctuation && !IsWithinRightwards(line, i);
        std::vector<TextWord> ofRun = run.words;
        if (isTurned)
            std::reverse(ofRun.begin(), ofRun.end());
        const std::size_t first = words.size();
        for (TextWord& word : ofRun) {
            if (isTurned && word.text.size() > 1)
                TurnAround(word);
            words.emplace_back(std::move(word), words.size() == first);
        }
    }
    return words;
}

/** Whether it may be two numbers, or infinity, and the bracket behind them. */
bool IsInterval(const QString& text)
{
    const auto isParting = [](QChar one) {
        return one == QLatin1Char(',') || one == QLatin1Char(';');
    };
    return std::any_of(text.begin(), text.end(), isParting) &&
           std::none_of(text.begin(), text.end(), [](QChar one) { return one.isLetter(); });
}

/**
 * Engines tell a bracket beside what is written rightwards as it looks, which is the other way
 * round in a line from right to left: there, two that open are one pair, and so are two that close
 * unless the first one ends a word, as one behind a number does. Two square ones that close around
 * an interval of numbers are those of one without its ends, which the second one is to open.
 */
void PairBrackets(std::vector<std::pair<TextWord, bool>>& words)
{
    QString open;
    QChar* unopened = nullptr;
    QString behindUnopened;
    for (std::size_t i = 0; i < words.size(); ++i) {
        TextWord& word = words[i].first;
        const bool goesOn = i > 0 && words[i].second && IsRestOf(words[i - 1].first, word, true);
        for (QChar& one : word.text) {
            behindUnopened += one;
            if (one.category() == QChar::Punctuation_Open) {
                if (!open.isEmpty() && open.back() == one)
                    one = one.mirroredChar();
                else
                    open += one;
            }
            if (one.category() != QChar::Punctuation_Close)
                continue;
            if (!open.isEmpty() && open.back() == one.mirroredChar()) {
                open.chop(1);
            } else if (unopened && *unopened == one) {
                const bool isOutwards = one == QLatin1Char(']') && IsInterval(behindUnopened);
                (isOutwards ? one : *unopened) = one.mirroredChar();
                unopened = nullptr;
            } else if (&one == word.text.begin() && !goesOn) {
                unopened = &one;
                behindUnopened.clear();
            }
        }
    }
}

} // namespace

std::vector<TextWord> WordsOf(const RunLine& line)
{
    const bool isLeftwards = IsLeftwards(line);
    std::vector<std::pair<TextWord, bool>> parts = WordsOfRuns(line, isLeftwards);
    if (isLeftwards)
        PairBrackets(parts);
    std::vector<TextWord> words;
    for (auto& [word, beginsRun] : parts) {
        if (words.empty() || !beginsRun || !IsRestOf(words.back(), word, isLeftwards)) {
            words.push_back(std::move(word));
            continue;
        }
        words.back().text += word.text;
        words.back().box |= word.box;
    }
    for (TextWord& word : words)
        PutMarksBehindLetter(word.text);
    return words;
}

} // namespace Korvel::Worker
