#include "PlainText.h"

#include <algorithm>
#include <optional>

#include <QSet>
#include <QString>
#include <QStringList>

namespace Korvel::Worker {

namespace {

constexpr QChar hyphen('-');

/** The lines of a paragraph, each as its words. */
using Lines = std::vector<QStringList>;

Lines LinesOf(const TextBlock& block)
{
    Lines lines;
    for (const TextLine& line : block.lines) {
        QStringList words;
        for (const TextWord& word : line.words)
            words.append(word.text);
        lines.push_back(words);
    }
    return lines;
}

/** A word without the punctuation around it. */
QString Bare(const QString& word)
{
    const auto counts = [](QChar one) {
        return one.isLetterOrNumber() || one.isMark();
    };
    const auto first = std::find_if(word.begin(), word.end(), counts);
    const auto last = std::find_if(word.rbegin(), word.rend(), counts).base();
    return first < last ? QString(&*first, int(last - first)) : QString();
}

/** How a page writes its words within lines. */
struct Spellings
{
    QSet<QString> words;
    /** Those that have a hyphen within, in small letters. */
    QSet<QString> hyphenated;
};

Spellings SpellingsOf(const TextPage& page)
{
    Spellings spellings;
    for (const TextBlock& block : page.blocks) {
        for (const TextLine& line : block.lines) {
            for (const TextWord& word : line.words) {
                const QString bare = Bare(word.text);
                spellings.words.insert(bare);
                if (bare.contains(hyphen))
                    spellings.hyphenated.insert(bare.toLower());
            }
        }
    }
    return spellings;
}

/** Whether it is within an address, whose hyphens are its own, as those of a mailing list are. */
bool IsInAddress(const QString& end, const QString& start)
{
    return end.contains(QLatin1String("://")) || start.contains(QLatin1Char('@'));
}

/** Whether both are of capitals alone, and no names of a few letters. */
bool AreOfCapitals(const QString& end, const QString& start)
{
    constexpr int fewestAtEnd = 5;
    constexpr int fewestAtStart = 3;
    const auto isNone = [](QChar one) {
        return one.isLower() || one.isDigit();
    };
    const auto isCapital = [](QChar one) {
        return one.isUpper();
    };
    return (std::count_if(start.begin(), start.end(), isCapital) >= fewestAtStart ||
            end.size() > fewestAtEnd) &&
           std::all_of(end.begin(), end.end() - 1, isCapital) &&
           std::none_of(start.begin(), start.end(), isNone);
}

/** Whether a path or an address may be parted behind it, which puts in a hyphen. */
bool IsStroke(QChar character)
{
    return character == QLatin1Char('/');
}

/** Whether the hyphen stands for the rest of a word to come, as that of "pre- and postfix". */
bool IsSuspended(const QString& start)
{
    return start == QLatin1String("and") || start == QLatin1String("or") ||
           start == QLatin1String("und") || start == QLatin1String("oder");
}

/** Lines end within a word behind its own hyphen or behind one that is put in. */
bool IsParted(const QString& end, const QString& start)
{
    if (end.size() < 2 || !end.endsWith(hyphen) || IsSuspended(start))
        return false;
    const QChar last = end[end.size() - 2];
    const QChar first = start.front();
    return (last.isLetterOrNumber() || IsStroke(last)) &&
           (first.isLower() || first.isUpper() || first.isDigit());
}

/** Puts words together whose lines end within them. */
class Joiner
{
public:
    explicit Joiner(const TextPage& page) : page(page) {}

    void Join(Lines& lines)
    {
        for (std::size_t i = 0; i + 1 < lines.size(); ++i) {
            QStringList& line = lines[i];
            QStringList& next = lines[i + 1];
            if (line.isEmpty() || next.isEmpty() || !IsParted(line.last(), next.first()))
                continue;
            const QString start = next.takeFirst();
            if (!IsOwnHyphen(line.last(), start))
                line.last().chop(1);
            line.last() += start;
        }
    }

private:
    /** Whether the word has the hyphen within lines as well. */
    bool IsOwnHyphen(const QString& end, const QString& start)
    {
        const QString beginning = end.chopped(1);
        const QChar last = beginning.back();
        if (IsStroke(last))
            return beginning.size() == 1;
        if (!last.isLetter() || !start.front().isLetter() || IsInAddress(end, start) ||
            Bare(beginning).size() == 1) // no word is parted behind its first letter
            return true;
        if (Known().hyphenated.contains(Bare(end + start).toLower()))
            return true;
        if (Known().words.contains(Bare(beginning + start)))
            return false;
        return beginning.contains(hyphen) ||
               !(start.front().isLower() || AreOfCapitals(end, start));
    }

    const Spellings& Known()
    {
        if (!known)
            known = SpellingsOf(page);
        return *known;
    }

    const TextPage& page;
    std::optional<Spellings> known;
};

} // namespace

QByteArray PlainText(const TextPage& page, bool dehyphenates)
{
    Joiner joiner(page);
    QByteArray text;
    for (const TextBlock& block : page.blocks) {
        Lines lines = LinesOf(block);
        if (dehyphenates)
            joiner.Join(lines);
        if (!text.isEmpty())
            text += '\n';
        for (const QStringList& line : lines) {
            if (!line.isEmpty())
                text += line.join(QLatin1Char(' ')).toUtf8() + '\n';
        }
    }
    return text;
}

} // namespace Korvel::Worker
