#include "FindRuns.h"

#include "Script.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>
#include <tuple>
#include <utility>

#include <QHash>

namespace Korvel::Worker {

namespace {

// All in ems.
constexpr double widestGap = 1;
constexpr double deepestOverlap = -0.6;
constexpr double farthestBaseline = 0.6; // of a superscript
constexpr double gapOfWords = 0.16;
constexpr double gapThatTheEngineSees = 0.07;
constexpr double gapInBrackets = 0.2;  // beside letters of formulas, which lean
constexpr double widestSpacing = 0.15; // of letters that are set apart, and of dots
constexpr double gapOfIdeographs = 0.45;
constexpr double samePlace = 0.25;
constexpr double deepestMark = -1.2;

constexpr char32_t negation = 0x338;

using Glyphs = std::vector<Glyph>;

double GapToTheRight(const Glyph& one, const Glyph& next)
{
    return next.box.left() - one.box.right();
}

double GapToTheLeft(const Glyph& one, const Glyph& next)
{
    return one.box.left() - next.box.right();
}

bool IsMark(char32_t code)
{
    return IsCombining(code) || CombiningFormOf(code) != 0;
}

int DirectionOf(char32_t code)
{
    return IsRightToLeft(code) ? -1 : IsLeftToRight(code) ? 1 : 0;
}

bool IsBracket(char32_t code)
{
    const QChar::Category category = QChar::category(code);
    return category == QChar::Punctuation_Open || category == QChar::Punctuation_Close;
}

/** Whether the next one is of another direction, or drawn on the other side of a letter. */
bool TurnsAround(const Glyph& one, const Glyph& next)
{
    const int direction = DirectionOf(one.code);
    const int nextDirection = DirectionOf(next.code);
    if ((direction >= 0 && nextDirection >= 0) || IsMark(one.code) || IsMark(next.code))
        return false;
    constexpr double touching = 0.1; // in ems
    constexpr double beside = 0.25;
    const double em = std::max(one.em, next.em);
    const double gap = std::max(GapToTheRight(one, next), GapToTheLeft(one, next));
    const bool isOther =
        direction * nextDirection < 0 || QChar::isDigit(one.code) || QChar::isDigit(next.code);
    if (isOther)
        return gap > touching * em;
    const bool isBehindSign = direction == 0 && !IsBracket(one.code);
    const bool isBeforeSign = nextDirection == 0;
    return (isBehindSign && GapToTheLeft(one, next) > beside * em) ||
           (isBeforeSign && GapToTheRight(one, next) > beside * em);
}

bool Follows(const Glyph& one, const Glyph& next)
{
    const double em = std::max(one.em, next.em);
    if (std::abs(next.baseline - one.baseline) > farthestBaseline * em)
        return false;
    const bool isMark = IsMark(one.code) || IsMark(next.code);
    const auto isNear = [em, least = isMark ? deepestMark : deepestOverlap](double gap) {
        return gap >= least * em && gap <= widestGap * em;
    };
    const bool isLeftwards = IsRightToLeft(one.code) || IsRightToLeft(next.code);
    return isNear(GapToTheRight(one, next)) || (isLeftwards && isNear(GapToTheLeft(one, next)));
}

/**
 * Whether the row of a listing goes on with it, where more than one space is between: its letters
 * are all of one width, and stand at multiples of it.
 */
bool GoesOnInListing(const Glyphs& run, const Glyph& next)
{
    constexpr std::ptrdiff_t fewest = 5;
    constexpr double same = 0.01;  // of the width
    constexpr double farthest = 8; // columns are farther
    const double width = next.box.width();
    if (std::ptrdiff_t(run.size()) < fewest || !IsPlain(next.code) || width <= 0 ||
        std::abs(next.baseline - run.back().baseline) > same * width)
        return false;
    const double steps = (next.box.left() - run.back().box.left()) / width;
    const auto isOfListing = [width](const Glyph& one) {
        return IsPlain(one.code) && std::abs(one.box.width() - width) < same * width;
    };
    const auto isTelling = [](const Glyph& one) { // digits have one width in most fonts
        return QChar::isLetter(one.code) || one.code == '.' || one.code == '-';
    };
    return steps > 1 && steps < farthest && std::abs(steps - std::round(steps)) < same &&
           std::all_of(run.end() - fewest, run.end(), isOfListing) &&
           std::any_of(run.end() - fewest, run.end(), isTelling);
}

/** Whether it is drawn over the last glyph but some, as bold letters are. */
bool IsDrawnOver(const Glyphs& run, const Glyph& next)
{
    constexpr std::ptrdiff_t fewBack = 3;
    const auto begin = run.end() - std::min(fewBack, std::ptrdiff_t(run.size()));
    return std::any_of(begin, run.end(), [&next](const Glyph& one) {
        if (one.code != next.code)
            return false;
        const QPointF apart = one.box.center() - next.box.center();
        return apart.manhattanLength() < samePlace * next.em &&
               apart.manhattanLength() < next.box.width() / 2;
    });
}

/** Whether the accent is drawn on the letter, or the stroke over the sign that it negates. */
bool IsOn(const Glyph& mark, const Glyph& letter)
{
    const double place = mark.box.center().x();
    if (mark.code == negation)
        return std::abs(letter.box.center().x() - place) < letter.em * 0.75;
    return QChar::isLetter(letter.code) && letter.box.left() < place && place < letter.box.right();
}

/** Makes an accent that is drawn before or after its letter follow it as its mark. */
void JoinAccents(Glyphs& run)
{
    for (std::size_t i = 0; i < run.size(); ++i) {
        const char32_t mark = run[i].code == negation ? negation : CombiningFormOf(run[i].code);
        if (mark == 0)
            continue;
        const auto isUnder = [&mark = run[i]](const Glyph& letter) {
            return IsOn(mark, letter);
        };
        const bool isBefore = i + 1 < run.size() && isUnder(run[i + 1]);
        if (!isBefore && (i == 0 || !isUnder(run[i - 1])))
            continue;
        run[i].code = mark;
        if (isBefore) {
            run[i + 1].before = run[i].before;
            std::swap(run[i], run[i + 1]);
        }
        const std::size_t last = isBefore ? i + 1 : i;
        run[last].before = Glyph::Before::Nothing;
        constexpr char32_t dotlessI = 0x131;
        Glyph& letter = isBefore ? run[i] : run[i - 1];
        if (letter.code == dotlessI)
            letter.code = 'i';
        if (isBefore)
            ++i;
    }
}

double Gap(const Glyph& one, const Glyph& next)
{
    return std::max(GapToTheRight(one, next), GapToTheLeft(one, next));
}

/** Whether they are dots that go on, or lead to a page's number, at distances of their own. */
bool AreOfLeader(const Glyph& one, const Glyph& next)
{
    constexpr char32_t middleDot = 0xb7;
    return one.code == next.code && (one.code == '.' || one.code == middleDot);
}

/** How far apart the letters of the run are set, in ems: 0 for most runs. */
double Spacing(const Glyphs& run)
{
    constexpr std::size_t fewest = 4;
    std::vector<double> gaps;
    gaps.reserve(run.size());
    for (std::size_t i = 1; i < run.size(); ++i) {
        if (!AreOfLeader(run[i - 1], run[i]))
            gaps.push_back(Gap(run[i - 1], run[i]) / std::max(run[i].em, 0.01));
    }
    if (gaps.size() < fewest)
        return 0;
    const auto middle = gaps.begin() + std::ptrdiff_t(gaps.size() / 2);
    std::nth_element(gaps.begin(), middle, gaps.end());
    return std::clamp(*middle, 0.0, widestSpacing);
}

/** Whether they are a bracket and what begins or ends within it, from the left. */
bool AreInBrackets(const Glyph& one, const Glyph& next)
{
    const bool begins =
        QChar::category(one.code) == QChar::Punctuation_Open && next.code != '.'; // of a leader
    const bool ends = QChar::category(next.code) == QChar::Punctuation_Close;
    return begins != ends && !IsRightToLeft(one.code) && !IsRightToLeft(next.code);
}

/** Whether it stands below or above the letter, and ends no further than this one does. */
bool IsAtLetter(const Glyph& glyph, const Glyph& letter)
{
    return IsBrahmic(glyph.code) ? glyph.box.right() <= letter.box.right()
                                 : IsCombining(glyph.code);
}

bool EndsWord(const Glyph& one, const Glyph& next, double spacing)
{
    if (IsCombining(next.code) || IsAtLetter(next, one))
        return false;
    const double gap = Gap(one, next);
    const double em = std::max(one.em, next.em);
    const bool isTight = (IsIdeographic(one.code) && IsIdeographic(next.code)) ||
                         IsIdeographicBegin(one.code) || IsIdeographicEnd(next.code);
    if (isTight)
        return gap > gapOfIdeographs * em;
    const bool isSeen = next.before != Glyph::Before::Nothing;
    if (AreOfLeader(one, next))
        spacing = widestSpacing;
    const double least = spacing + (isSeen ? gapThatTheEngineSees : gapOfWords);
    return next.before == Glyph::Before::Space ||
           (gap > least * em &&
            (gap > (spacing + gapInBrackets) * em || !AreInBrackets(one, next)));
}

/** Letters of the right-to-left that are drawn from left to right are read from their end. */
void PutInLogicalOrder(Glyphs& run)
{
    const bool isBackwards =
        run.size() > 1 && run.front().box.center().x() < run.back().box.center().x() &&
        std::all_of(run.begin(), run.end(),
                    [](const Glyph& glyph) { return DirectionOf(glyph.code) <= 0; }) &&
        std::count_if(run.begin(), run.end(),
                      [](const Glyph& glyph) { return IsRightToLeft(glyph.code); }) > 1;
    if (!isBackwards)
        return;
    for (std::size_t i = 0; i + 1 < run.size(); ++i)
        run[i].before = run[i + 1].before;
    run.back().before = Glyph::Before::Nothing;
    std::reverse(run.begin(), run.end());
    const auto isDigit = [](const Glyph& glyph) {
        return QChar::isDigit(glyph.code);
    };
    for (auto first = run.begin(); first != run.end();) {
        first = std::find_if(first, run.end(), isDigit);
        const auto last = std::find_if_not(first, run.end(), isDigit);
        std::reverse(first, last);
        first = last;
    }
}

bool IsPunctuation(const Glyph& glyph)
{
    return !QChar::isLetterOrNumber(glyph.code) && !QChar::isMark(glyph.code);
}

/** Whether glyphs are drawn from left to right, as punctuation is between other scripts. */
bool GoesRight(const Glyph& first, const Glyph& last)
{
    return first.box.left() <= last.box.left();
}

/** Reads punctuation that is drawn from left to right within words of the right-to-left. */
void TurnPunctuationAround(Glyphs& run)
{
    for (auto first = run.begin(); first != run.end();) {
        first = std::find_if(first, run.end(), IsPunctuation);
        const auto last = std::find_if_not(first, run.end(), IsPunctuation);
        if (last - first > 1 && GoesRight(*first, *(last - 1))) {
            const Glyph::Before before = std::exchange(first->before, Glyph::Before::Nothing);
            std::reverse(first, last);
            std::for_each(first, last,
                          [](Glyph& glyph) { glyph.code = QChar::mirroredChar(glyph.code); });
            first->before = before;
        }
        first = last;
    }
}

int DirectionOf(const Glyphs& run)
{
    return std::accumulate(run.begin(), run.end(), 0, [](int sum, const Glyph& glyph) {
        return sum + DirectionOf(glyph.code);
    });
}

QRectF Around(const QRectF& one, const QRectF& other)
{
    const double left = std::min(one.left(), other.left());
    const double top = std::min(one.top(), other.top());
    return {left, top, std::max(one.right(), other.right()) - left,
            std::max(one.bottom(), other.bottom()) - top};
}

void AppendTo(TextWord& word, const Glyph& glyph)
{
    if (QChar::requiresSurrogates(glyph.code))
        word.text += QString::fromUcs4(&glyph.code, 1);
    else
        word.text += QChar(ushort(glyph.code));
    word.box = word.box.isNull() ? glyph.box : Around(word.box, glyph.box);
    word.size = std::max(word.size, glyph.em);
}

Run MakeRun(Glyphs& glyphs)
{
    JoinAccents(glyphs);
    PutInLogicalOrder(glyphs);
    Run run;
    run.direction = DirectionOf(glyphs);
    if (run.IsRightToLeft())
        TurnPunctuationAround(glyphs);
    run.baseline = glyphs.front().baseline;
    bool hasMarks = false;
    const double spacing = Spacing(glyphs);
    std::size_t letter = 0; // others may stand anywhere above or below it
    for (std::size_t i = 0; i < glyphs.size(); ++i) {
        const Glyph& glyph = glyphs[i];
        if (i == 0 || EndsWord(glyphs[letter], glyph, spacing))
            run.words.push_back({{}, {}, 0, glyph.font});
        AppendTo(run.words.back(), glyph);
        letter = IsAtLetter(glyph, glyphs[letter]) ? letter : i;
        if (glyph.em > run.em) {
            run.em = glyph.em;
            run.baseline = glyph.baseline;
        }
        hasMarks = hasMarks || IsCombining(glyph.code) || IsBrahmic(glyph.code);
    }
    run.box = run.words.front().box;
    for (const TextWord& word : run.words)
        run.box = Around(run.box, word.box);
    run.characters = int(glyphs.size());
    run.isPunctuation = GoesRight(glyphs.front(), glyphs.back()) &&
                        std::all_of(glyphs.begin(), glyphs.end(), IsPunctuation);
    if (hasMarks) {
        for (TextWord& word : run.words)
            word.text = word.text.normalized(QString::NormalizationForm_C);
    }
    return run;
}

bool IsSame(const Run& one, const Run& other)
{
    const QPointF apart = one.box.center() - other.box.center();
    return apart.manhattanLength() < samePlace * one.em && one.characters == other.characters &&
           std::equal(one.words.begin(), one.words.end(), other.words.begin(), other.words.end(),
                      [](const TextWord& a, const TextWord& b) { return a.text == b.text; });
}

QString TextOf(const Run& run)
{
    QString text;
    for (const TextWord& word : run.words)
        text += word.text + QLatin1Char(' ');
    return text;
}

/** A cell of a grid of runs that say the same, about as wide as overprints are apart. */
struct Cell
{
    int text = 0;
    int level = 0;
    qint64 column = 0;
    qint64 row = 0;

    bool operator==(const Cell& other) const
    {
        return std::tie(text, level, column, row) ==
               std::tie(other.text, other.level, other.column, other.row);
    }
};

using Hash = decltype(qHashBits(nullptr, 0));

Hash qHash(const Cell& cell, Hash seed)
{
    return qHashBits(&cell, sizeof(cell), seed);
}

/** Finds what a run is drawn over without a look at all runs that say the same. */
class Overprints
{
public:
    explicit Overprints(const std::vector<Run>& kept) : kept(kept) {}

    /** Whether it is drawn over one that is kept; if not, it is the next one that is kept. */
    bool IsKnown(const Run& run)
    {
        if (run.em < smallestEm)
            return false;
        const QString said = TextOf(run);
        const int text = texts.insert(said, texts.value(said, int(texts.size()))).value();
        const int level = std::ilogb(run.em);
        if (HasSame(run, CellOf(run, text, level)))
            return true;
        // Runs of almost one size may be of different levels.
        for (int near = level - 1; near <= level + 1; ++near)
            cells[CellOf(run, text, near)].push_back(kept.size());
        return false;
    }

private:
    static constexpr double smallestEm = 1e-4;
    static constexpr double farthest = 1e15;

    static Cell CellOf(const Run& run, int text, int level)
    {
        const double width = samePlace * std::ldexp(2, level);
        const auto number = [width](double place) {
            return qint64(std::clamp(std::floor(place / width), -farthest, farthest));
        };
        return {text, level, number(run.box.center().x()), number(run.box.center().y())};
    }

    bool HasSame(const Run& run, const Cell& middle) const
    {
        for (qint64 row = middle.row - 1; row <= middle.row + 1; ++row) {
            for (qint64 column = middle.column - 1; column <= middle.column + 1; ++column) {
                const auto cell = cells.find({middle.text, middle.level, column, row});
                if (cell != cells.end() &&
                    std::any_of(cell->begin(), cell->end(),
                                [&](std::size_t other) { return IsSame(run, kept[other]); }))
                    return true;
            }
        }
        return false;
    }

    const std::vector<Run>& kept;
    QHash<QString, int> texts;
    QHash<Cell, std::vector<std::size_t>> cells;
};

/** What is drawn over a run that says the same makes it bold, or its shadow. */
std::vector<Run> WithoutOverprints(std::vector<Run> runs)
{
    std::vector<Run> kept;
    Overprints overprints(kept);
    for (Run& run : runs) {
        if (!overprints.IsKnown(run))
            kept.push_back(std::move(run));
    }
    return kept;
}

} // namespace

std::vector<Run> FindRuns(const std::vector<Glyph>& glyphs)
{
    std::vector<Run> runs;
    Glyphs run;
    const bool isFromTheRight = DirectionOf(glyphs) < 0;
    for (const Glyph& glyph : glyphs) {
        if (!run.empty() && IsDrawnOver(run, glyph))
            continue;
        const bool goesOn = run.empty() || (Follows(run.back(), glyph) &&
                                            !(isFromTheRight && TurnsAround(run.back(), glyph)));
        if (!goesOn && !GoesOnInListing(run, glyph)) {
            runs.push_back(MakeRun(run));
            run.clear();
        }
        run.push_back(glyph);
    }
    if (!run.empty())
        runs.push_back(MakeRun(run));
    return WithoutOverprints(std::move(runs));
}

} // namespace Korvel::Worker
