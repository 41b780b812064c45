#include "SortLine.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include <QString>

namespace Korvel::Worker {

namespace {

using LineRuns = std::vector<const Run*>;

bool IsAmong(QChar one, const char16_t* characters)
{
    return QString::fromUtf16(characters).contains(one);
}

/** Whether all of it is digits and what parts them. */
bool IsNumber(const Run& run)
{
    const QString& text = run.words.front().text;
    const auto isOfNumber = [](QChar one) {
        return one.isDigit() || IsAmong(one, u".,:/\u066b");
    };
    return run.words.size() == 1 && std::all_of(text.begin(), text.end(), isOfNumber) &&
           std::any_of(text.begin(), text.end(), [](QChar one) { return one.isDigit(); });
}

bool IsOfLatinDigits(const Run& number)
{
    return number.words.front().text.front().unicode() <= '9';
}

/**
 * Whether it stands within a number behind those digits. A point between digits of Arabic may part
 * those of a section, which go on to the left.
 */
bool PartsDigits(const Run& run, const Run& digits)
{
    const QChar one = run.words.front().text.front();
    return run.characters == 1 && IsAmong(one, IsOfLatinDigits(digits) ? u".,:/" : u"\u066b");
}

/** Runs of a line from the right, of which those that are written rightwards are to be turned. */
class Leftwards
{
public:
    explicit Leftwards(LineRuns& runs) : runs(runs) {}

    /** Turns names and numbers, which may be drawn in parts, each by itself. */
    void TurnRightwards()
    {
        const auto count = runs.size();
        for (std::size_t i = 0; i < count; ++i) {
            if (runs[i]->direction > 0)
                i = Turn(BeginOf(i, LastOf(i)), EndOf(LastOf(i)));
            else if (const std::size_t end = EndOfNumber(i); end > i + 1 && !LeadsToLetters(end))
                i = Turn(i, end);
        }
    }

private:
    std::size_t Turn(std::size_t begin, std::size_t end)
    {
        std::reverse(runs.begin() + std::ptrdiff_t(begin), runs.begin() + std::ptrdiff_t(end));
        turned = end;
        return end - 1;
    }

    /** How far a run is from the next one, in ems. */
    double Gap(std::size_t index) const
    {
        const Run& run = *runs[index];
        const Run& next = *runs[index + 1];
        return (run.box.left() - next.box.right()) / std::max(run.em, next.em);
    }

    bool Touches(std::size_t index) const
    {
        constexpr double touching = 0.1;
        return index + 1 < runs.size() && std::abs(Gap(index)) < touching;
    }

    /** Whether no more than a space is between the run and the next one. */
    bool IsNear(std::size_t index) const
    {
        constexpr double widestSpace = 0.6;
        return index + 1 < runs.size() && std::abs(Gap(index)) < widestSpace;
    }

    bool IsSign(std::size_t index) const
    {
        return runs[index]->direction == 0 && runs[index]->characters == 1 &&
               !IsNumber(*runs[index]);
    }

    /** The last of the letters that only what is neither parts from those at the index. */
    std::size_t LastOf(std::size_t index) const
    {
        std::size_t last = index;
        for (; index < runs.size() && runs[index]->direction >= 0; ++index)
            last = runs[index]->direction > 0 ? index : last;
        return last;
    }

    /** Where what belongs to the letters begins: brackets and numbers behind them, as of "U+0660".
     */
    std::size_t BeginOf(std::size_t letters, std::size_t last) const
    {
        std::size_t begin = BeginOfBrackets(letters, last);
        while (begin > turned) {
            const bool isNumber = IsNumber(*runs[begin - 1]);
            const bool isBeyondSign = begin > turned + 1 && IsSign(begin - 1) &&
                                      IsNumber(*runs[begin - 2]) && Touches(begin - 1) &&
                                      Touches(begin - 2);
            const bool isNext = begin > 1 && IsNear(begin - 1) && IsOfLatinDigits(*runs[begin - 1]);
            if (isBeyondSign)
                begin -= 2;
            else if (isNumber && (Touches(begin - 1) || isNext))
                --begin;
            else
                break;
        }
        return begin;
    }

    int BracketsOf(std::size_t index) const
    {
        const std::vector<TextWord>& words = runs[index]->words;
        return std::accumulate(words.begin(), words.end(), 0, [](int sum, const TextWord& word) {
            return sum + int(std::count_if(word.text.begin(), word.text.end(),
                                           [](QChar one) { return IsAmong(one, u"()[]{}"); }));
        });
    }

    /** Where those begin that are drawn right behind the letters and close what is open there. */
    std::size_t BeginOfBrackets(std::size_t letters, std::size_t last) const
    {
        std::size_t begin = letters;
        int brackets = 0;
        for (std::size_t i = letters; i <= last; ++i)
            brackets += BracketsOf(i);
        for (std::size_t i = letters; i > turned && Touches(i - 1) && !IsLetters(i - 1); --i) {
            const int further = BracketsOf(i - 1);
            brackets += further;
            if (further > 0 && brackets % 2 == 0)
                begin = i - 1;
        }
        return begin;
    }

    bool IsLetters(std::size_t index) const { return runs[index]->direction != 0; }

    /** Where it ends: behind numbers that stand right before the letters, as that of "5 MB". */
    std::size_t EndOf(std::size_t letters) const
    {
        std::size_t end = letters + 1;
        while (end < runs.size() && IsNear(end - 1)) {
            const bool isSign = IsSign(end) && Touches(end - 1) && Touches(end);
            const std::size_t next = isSign ? end + 1 : end;
            if (!IsNumber(*runs[next]) || (!Touches(end - 1) && !IsOfLatinDigits(*runs[next])))
                break;
            end = next + 1;
        }
        const bool isCommand = end < runs.size() && Touches(end - 1) &&
                               runs[end]->characters == 1 &&
                               runs[end]->words.front().text == QLatin1String("\\");
        return isCommand ? end + 1 : end;
    }

    /** The end of a number that is drawn in parts; the index itself for none. */
    std::size_t EndOfNumber(std::size_t index) const
    {
        std::size_t end = index;
        if (!IsNumber(*runs[index]))
            return end;
        ++end;
        while (end + 1 < runs.size() && Touches(end - 1) && Touches(end) &&
               PartsDigits(*runs[end], *runs[index]) && IsNumber(*runs[end + 1]))
            end += 2;
        return end;
    }

    bool LeadsToLetters(std::size_t end) const
    {
        return Touches(end - 1) && runs[end]->direction > 0;
    }

    LineRuns& runs;
    /** Where what has been turned ends. */
    std::size_t turned = 0;
};

} // namespace

void SortLine(std::vector<const Run*>& runs, bool isRightToLeft)
{
    std::stable_sort(runs.begin(), runs.end(),
                     [](const Run* a, const Run* b) { return a->box.left() < b->box.left(); });
    if (isRightToLeft) {
        std::reverse(runs.begin(), runs.end());
        Leftwards(runs).TurnRightwards();
        return;
    }
    const auto isAgainst = [](const Run* run) {
        return run->direction < 0;
    };
    for (auto first = runs.begin(); first != runs.end();) {
        first = std::find_if(first, runs.end(), isAgainst);
        auto last =
            std::find_if(first, runs.end(), [](const Run* run) { return run->direction > 0; });
        const auto end = last;
        while (last != first && !isAgainst(*(last - 1)))
            --last; // what is neither belongs to them only between two of them
        std::reverse(first, last);
        first = end;
    }
}

} // namespace Korvel::Worker
