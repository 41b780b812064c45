#include "Paragraphs.h"

#include "Script.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

namespace Korvel::Worker {

namespace {

constexpr double widerThanUsual = 1.3;
constexpr double widestPitchInEms = 2.5;
constexpr double otherSize = 1.15;

double PitchOf(const RunLine& one, const RunLine& next)
{
    return next.baseline - one.baseline;
}

bool AreAlike(double em, double other)
{
    return std::max(em, other) <= otherSize * std::min(em, other);
}

/** Lines of text in two scripts may have more of the one or the other. */
bool HaveOneSize(const RunLine& one, const RunLine& other)
{
    return AreAlike(one.em, other.em) || AreAlike(one.usualEm, other.usualEm);
}

/** How far lines are apart, and their em. */
struct Pitch
{
    double distance;
    double em;

    /** That of lines of this em: larger ones are farther apart. */
    double Of(double other) const { return distance * std::max(1.0, other / em); }
};

/** The distance that most lines of the region have from the line before. */
std::optional<Pitch> UsualPitch(const Region& region)
{
    std::vector<Pitch> pitches;
    for (std::size_t i = 1; i < region.size(); ++i) {
        const double pitch = PitchOf(region[i - 1], region[i]);
        if (HaveOneSize(region[i - 1], region[i]) && pitch > 0 &&
            pitch < widestPitchInEms * region[i].em)
            pitches.push_back({pitch, region[i].em});
    }
    if (pitches.empty())
        return std::nullopt;
    const auto middle = pitches.begin() + std::ptrdiff_t(pitches.size() / 2);
    std::nth_element(pitches.begin(), middle, pitches.end(),
                     [](const Pitch& a, const Pitch& b) { return a.distance < b.distance; });
    return *middle;
}

/** Whether the shorter of both lines stands in the middle below the other. */
bool AreCentered(const RunLine& line, const RunLine& next)
{
    const double left = next.box.left() - line.box.left();
    const double right = line.box.right() - next.box.right();
    return std::abs(left - right) < 0.3 * next.em;
}

/** Whether the line is indented between lines that are not. */
bool IsIndented(const Region& region, std::size_t index)
{
    if (index + 1 >= region.size())
        return false;
    const RunLine& line = region[index];
    if (line.usualEm > otherSize * region[index + 1].usualEm ||
        AreCentered(region[index - 1], line))
        return false; // a heading whose lines hang, a title
    const double before = region[index - 1].box.left();
    const double after = region[index + 1].box.left();
    const double indent = line.box.left() - before;
    const QChar first = line.runs.front()->words.front().text.front();
    return !first.isLower() && !first.isDigit() && indent > 0.8 * line.em && indent < 4 * line.em &&
           std::abs(after - before) < 0.3 * line.em;
}

/** How far most lines reach where they are prose, from left to right; nothing for others. */
std::optional<double> RightEdge(const Region& region)
{
    constexpr std::size_t fewest = 5;
    constexpr double near = 2; // in ems
    constexpr double mostLines = 0.6;
    if (region.size() < fewest)
        return std::nullopt;
    std::vector<double> ends;
    for (const RunLine& line : region)
        ends.push_back(line.box.right());
    std::sort(ends.begin(), ends.end());
    const double edge = ends[ends.size() * 9 / 10];
    const auto reaching = std::count_if(region.begin(), region.end(), [edge](const RunLine& line) {
        return line.box.right() > edge - near * line.em;
    });
    if (double(reaching) < mostLines * double(region.size()))
        return std::nullopt;
    return edge;
}

/** Whether a sentence ends with the line, much before others do, and the next line begins one. */
bool EndsEarly(const RunLine& line, const RunLine& next, double rightEdge)
{
    constexpr double mostOfWidth = 0.75;
    const QString& last = line.runs.back()->words.back().text;
    const QChar first = next.runs.front()->words.front().text.front();
    return line.box.right() - next.box.left() < mostOfWidth * (rightEdge - next.box.left()) &&
           QStringLiteral(".!?").contains(last.back()) && first.isUpper();
}

bool BeginsParagraph(const Region& region, std::size_t index, std::optional<Pitch> usualPitch)
{
    const RunLine& before = region[index - 1];
    const RunLine& line = region[index];
    const double em = std::max(before.em, line.em);
    const double pitch = PitchOf(before, line);
    if (pitch <= 0)
        return true; // it goes on in another cell
    if (IsLimit(before, line) || IsLimit(line, before))
        return false;
    const double usual = usualPitch ? usualPitch->Of(em) : 1.5 * em;
    return pitch > std::max(widerThanUsual * usual, usual + 0.25 * em) ||
           !HaveOneSize(before, line) || IsIndented(region, index);
}

/** Whether the line goes on with the sentence of the one before, in the next column. */
bool GoesOn(const RunLine& before, const RunLine& line)
{
    if (PitchOf(before, line) > 0)
        return false;
    const TextWord& last = before.runs.back()->words.back();
    const TextWord& first = line.runs.front()->words.front();
    const bool isOfOneSize =
        std::max(last.size, first.size) < otherSize * std::min(last.size, first.size);
    return isOfOneSize && first.text.front().isLower() &&
           (last.text.back().isLower() || last.text.back() == '-' || last.text.back() == ',');
}

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

/** Whether the word goes on where the other one ends, in a line from the right in either direction.
 */
bool IsRestOf(const TextWord& word, const TextWord& rest, bool isOfLeftwardsLine)
{
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

/** Words whose letters are drawn in parts, as where a font moves marks, are put together. */
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

TextLine ToTextLine(const RunLine& line, const Affine& shown)
{
    TextLine text;
    text.words = WordsOf(line);
    for (TextWord& word : text.words)
        word.box = shown.Map(word.box);
    text.box = shown.Map(line.box);
    return text;
}

} // namespace

std::vector<TextBlock> FindParagraphs(const std::vector<Region>& regions, const Affine& shown)
{
    std::vector<TextBlock> blocks;
    const RunLine* before = nullptr;
    for (const Region& region : regions) {
        const std::optional<Pitch> usualPitch = UsualPitch(region);
        const std::optional<double> rightEdge = RightEdge(region);
        for (std::size_t i = 0; i < region.size(); ++i) {
            TextLine line = ToTextLine(region[i], shown);
            const bool endsEarly =
                i > 0 && rightEdge && EndsEarly(region[i - 1], region[i], *rightEdge);
            const bool begins = i > 0 ? endsEarly || BeginsParagraph(region, i, usualPitch)
                                      : !before || !GoesOn(*before, region[i]);
            before = &region[i];
            if (begins)
                blocks.emplace_back();
            TextBlock& block = blocks.back();
            block.box = begins ? line.box : block.box | line.box;
            block.lines.push_back(std::move(line));
        }
    }
    return blocks;
}

} // namespace Korvel::Worker
