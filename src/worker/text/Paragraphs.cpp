#include "Paragraphs.h"

#include "Limits.h"
#include "WordsOfLine.h"

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

/** Whether it is a bullet, or a number as "2.", "(b)" or "iv)". */
bool IsLabel(const QString& word)
{
    constexpr int longest = 5;
    const QChar last = word.back();
    return word.size() <= longest &&
           (last == QLatin1Char('.') || last == QLatin1Char(')') || last == QLatin1Char(']') ||
            std::none_of(word.begin(), word.end(), [](QChar one) { return one.isLetter(); }));
}

/** Whether the line begins below what stands behind the label of the line before. */
bool HangsBehindLabel(const RunLine& line, const RunLine& next)
{
    const Run& first = *line.runs.front();
    if (!IsLabel(first.words.front().text))
        return false;
    const bool isLabelAlone = first.words.size() == 1;
    if (isLabelAlone && line.runs.size() == 1)
        return false;
    const TextWord& behind = isLabelAlone ? line.runs[1]->words.front() : first.words[1];
    return std::abs(behind.box.left() - next.box.left()) < 0.3 * next.em;
}

/** Whether it may be the first of a sentence: an index or a listing goes on with others. */
bool BeginsSentence(QChar first)
{
    return !first.isLower() && !first.isDigit() &&
           !QStringLiteral(".,:;{}%&|=</*+").contains(first);
}

/** Whether the line is indented between lines that are not. */
bool IsIndented(const Region& region, std::size_t index)
{
    if (index + 1 >= region.size())
        return false;
    const RunLine& line = region[index];
    if (line.usualEm > otherSize * region[index + 1].usualEm ||
        AreCentered(region[index - 1], line) || HangsBehindLabel(region[index - 1], line))
        return false; // a heading whose lines hang, a title, an item of a list
    const double before = region[index - 1].box.left();
    const double after = region[index + 1].box.left();
    const double indent = line.box.left() - before;
    const QChar first = line.runs.front()->words.front().text.front();
    return BeginsSentence(first) && indent > 0.8 * line.em && indent < 4 * line.em &&
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

/** Whether the line goes on with a formula right behind the one before, as parts of fractions do.
 */
bool GoesOnWithFormula(const RunLine& before, const RunLine& line)
{
    constexpr double highest = 0.95; // all in ems
    constexpr double nearest = -0.3;
    constexpr double farthest = 0.5; // cells are farther
    const double em = std::max(before.em, line.em);
    const double gap = (line.box.left() - before.box.right()) / em;
    return std::abs(PitchOf(before, line)) < highest * em && gap > nearest && gap < farthest;
}

bool BeginsParagraph(const Region& region, std::size_t index, std::optional<Pitch> usualPitch)
{
    const RunLine& before = region[index - 1];
    const RunLine& line = region[index];
    const double em = std::max(before.em, line.em);
    const double pitch = PitchOf(before, line);
    if (GoesOnWithFormula(before, line))
        return false;
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
