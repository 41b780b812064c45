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
 * unless the first one ends a word, as one behind a number does. One that closes at the beginning
 * of a word opens, and with one that opens at the end of another it is a pair. Two square ones that
 * close around an interval of numbers are those of one without its ends, which the second one is to
 * open.
 */
class Brackets
{
public:
    /**
     * Takes the next word of the line.
     *
     * @param goesOn  whether it goes on with the word before it
     * @param next    what goes on with it; null for nothing
     */
    void Take(QString& word, bool goesOn, QChar next)
    {
        for (QChar& one : word) {
            behindUnopened += one;
            const bool isFirst = &one == word.begin() && !goesOn;
            const bool isLast = &one + 1 == word.end() && next.isNull();
            if (one.category() == QChar::Punctuation_Open)
                Open(one, isLast && (goesOn || word.size() > 1));
            if (one.category() == QChar::Punctuation_Close)
                Close(one, isFirst);
            if (unopened == &one) // a single letter may be an item's, which it closes
                isBeforeWord =
                    word.size() == 1 ? next.isLetter() : word.size() > 2 && word.at(1).isLetter();
        }
    }

    /** Ends the line. */
    void End()
    {
        if (unopened && isBeforeWord)
            *unopened = unopened->mirroredChar();
    }

private:
    /** Whether both brackets may be those of one without its ends, which may be letters. */
    bool IsOpenInterval() const
    {
        return behindUnopened.contains(QLatin1Char(';')) || IsInterval(behindUnopened);
    }

    void Open(QChar& one, bool endsWord)
    {
        if (!open.isEmpty() && open.back() == one) {
            one = one.mirroredChar(); // and closes
        } else if (endsWord && unopened && *unopened == one.mirroredChar() && !IsOpenInterval()) {
            std::swap(one, *unopened);
            unopened = nullptr;
        } else {
            open += one;
        }
    }

    void Close(QChar& one, bool beginsWord)
    {
        if (!open.isEmpty() && open.back() == one.mirroredChar()) {
            open.chop(1);
        } else if (unopened && *unopened == one) {
            const bool isOutwards = one == QLatin1Char(']') && IsInterval(behindUnopened);
            (isOutwards ? one : *unopened) = one.mirroredChar();
            unopened = nullptr;
        } else if (beginsWord) {
            unopened = &one;
            behindUnopened.clear();
        }
    }

    QString open;
    QChar* unopened = nullptr;
    bool isBeforeWord = false;
    QString behindUnopened;
};

void PairBrackets(std::vector<std::pair<TextWord, bool>>& parts)
{
    Brackets brackets;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const bool isGoneOn = i + 1 < parts.size() && parts[i + 1].second;
        brackets.Take(parts[i].first.text, parts[i].second,
                      isGoneOn ? parts[i + 1].first.text.front() : QChar());
    }
    brackets.End();
}

/** Of words that are marked where they begin a run, marks those that go on with the one before. */
void FindRests(std::vector<std::pair<TextWord, bool>>& parts, bool isLeftwards)
{
    TextWord whole;
    for (auto& [word, goesOn] : parts) {
        goesOn = goesOn && !whole.text.isEmpty() && IsRestOf(whole, word, isLeftwards);
        if (!goesOn) {
            whole = word;
            continue;
        }
        whole.text += word.text;
        whole.box |= word.box;
    }
}

} // namespace

std::vector<TextWord> WordsOf(const RunLine& line)
{
    const bool isLeftwards = IsLeftwards(line);
    std::vector<std::pair<TextWord, bool>> parts = WordsOfRuns(line, isLeftwards);
    FindRests(parts, isLeftwards);
    if (isLeftwards)
        PairBrackets(parts);
    std::vector<TextWord> words;
    for (auto& [word, goesOn] : parts) {
        if (!goesOn) {
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
