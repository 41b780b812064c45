#include "Limits.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace Korvel::Worker {

namespace {

/** Whether it is a sign that has limits above and below it. */
bool IsSign(QChar one)
{
    return (one >= QChar(0x220f) && one <= QChar(0x2211)) || // products and sums
           (one >= QChar(0x222b) && one <= QChar(0x2233)) || // integrals
           (one >= QChar(0x22c0) && one <= QChar(0x22c3));   // unions and intersections
}

/** Whether it is the name of a function that has limits below it, which may be a word as well. */
bool IsName(const QString& text)
{
    const QLatin1String names[] = {QLatin1String("lim"), QLatin1String("max"), QLatin1String("min"),
                                   QLatin1String("sup"), QLatin1String("inf")};
    return std::find(std::begin(names), std::end(names), text) != std::end(names);
}

/** Whether a limit may stand so far below the word, or above it if less than 0, in ems. */
bool HasLimitAt(const TextWord& word, double below)
{
    constexpr double farthestOfSign = 1.6;
    constexpr double farthestOfName = 1; // less than the next line
    if (std::any_of(word.text.begin(), word.text.end(), IsSign))
        return std::abs(below) <= farthestOfSign;
    return below > 0 && below <= farthestOfName && IsName(word.text);
}

/** The boxes of what stands apart from each other in a line of limits. */
std::vector<QRectF> BoxesApart(const RunLine& limits, double em)
{
    std::vector<QRectF> boxes;
    for (const Run* const run : limits.runs) {
        if (boxes.empty() || run->box.left() - boxes.back().right() > em)
            boxes.push_back(run->box);
        else
            boxes.back() |= run->box;
    }
    return boxes;
}

/** Whether a limit stands where one of the word's signs may have it, right or left of none. */
bool IsAt(const QRectF& limit, const TextWord& word, double em)
{
    constexpr double widerThanSign = 3; // in ems
    constexpr double beside = 0.25;
    const double place = limit.center().x();
    return place > word.box.left() - beside * em && place < word.box.right() + beside * em &&
           limit.width() <= word.box.width() + widerThanSign * em;
}

} // namespace

bool IsLimit(const RunLine& limit, const RunLine& line)
{
    constexpr double largest = 0.85; // all in ems of the line
    const double em = line.em;
    if (limit.em > largest * em)
        return false;
    const double below = (limit.baseline - line.baseline) / em;
    const std::vector<QRectF> boxes = BoxesApart(limit, em);
    return std::all_of(boxes.begin(), boxes.end(), [&](const QRectF& box) {
        return std::any_of(line.runs.begin(), line.runs.end(), [&](const Run* run) {
            return std::any_of(run->words.begin(), run->words.end(), [&](const TextWord& word) {
                return IsAt(box, word, em) && HasLimitAt(word, below);
            });
        });
    });
}

} // namespace Korvel::Worker
