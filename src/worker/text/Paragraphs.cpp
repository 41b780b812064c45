#include "Paragraphs.h"

#include "Script.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace Korvel::Worker {

namespace {

constexpr double widerThanUsual = 1.3;
constexpr double widestPitchInEms = 2.5;
constexpr double otherSize = 1.15;

double PitchOf(const RunLine& one, const RunLine& next)
{
    return next.baseline - one.baseline;
}

bool HaveOneSize(const RunLine& one, const RunLine& other)
{
    return std::max(one.em, other.em) <= otherSize * std::min(one.em, other.em);
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

/** Whether the line is indented between lines that are not. */
bool IsIndented(const Region& region, std::size_t index)
{
    if (index + 1 >= region.size())
        return false;
    const RunLine& line = region[index];
    const double before = region[index - 1].box.left();
    const double after = region[index + 1].box.left();
    const double indent = line.box.left() - before;
    const QChar first = line.runs.front()->words.front().text.front();
    return !first.isLower() && !first.isDigit() && indent > 0.8 * line.em && indent < 4 * line.em &&
           std::abs(after - before) < 0.3 * line.em;
}

bool BeginsParagraph(const Region& region, std::size_t index, std::optional<Pitch> usualPitch)
{
    const RunLine& before = region[index - 1];
    const RunLine& line = region[index];
    const double em = std::max(before.em, line.em);
    const double pitch = PitchOf(before, line);
    if (pitch <= 0)
        return true; // it goes on in another cell
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

/** Whether the word goes on where the other one ends, from right to left. */
bool IsRestOf(const TextWord& word, const TextWord& rest)
{
    constexpr double touching = 0.1; // in ems
    const auto letter = std::find_if_not(word.text.rbegin(), word.text.rend(),
                                         [](QChar one) { return IsCombining(one.unicode()); });
    return letter != word.text.rend() && IsRightToLeft(letter->unicode()) &&
           IsRightToLeft(rest.text.front().unicode()) &&
           std::abs(word.box.left() - rest.box.right()) < touching * std::min(word.size, rest.size);
}

/** Words whose letters are drawn in parts, as where a font moves marks, are put together. */
std::vector<TextWord> WordsOf(const RunLine& line)
{
    std::vector<TextWord> words;
    for (const Run* const run : line.runs) {
        for (const TextWord& word : run->words) {
            if (words.empty() || &word != &run->words.front() || !IsRestOf(words.back(), word)) {
                words.push_back(word);
                continue;
            }
            words.back().text += word.text;
            words.back().box |= word.box;
        }
    }
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
        for (std::size_t i = 0; i < region.size(); ++i) {
            TextLine line = ToTextLine(region[i], shown);
            const bool begins = i > 0 ? BeginsParagraph(region, i, usualPitch)
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
