#include "PlainText.h"

#include <algorithm>

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

/** The page's words that have a hyphen within. */
QSet<QString> Hyphenated(const TextPage& page)
{
    QSet<QString> words;
    for (const TextBlock& block : page.blocks) {
        for (const TextLine& line : block.lines) {
            for (const TextWord& word : line.words) {
                if (word.text.indexOf(hyphen) > 0)
                    words.insert(word.text.toLower());
            }
        }
    }
    return words;
}

/** Whether it is an address, which is parted at a stroke as well, and may have hyphens of its own.
 */
bool IsAddress(const QString& word)
{
    return word.contains(QLatin1String("://"));
}

/** Whether both are of capitals alone, and no names of a few letters. */
bool AreOfCapitals(const QString& end, const QString& start)
{
    constexpr int fewest = 3;
    const auto isNone = [](QChar one) {
        return one.isLower() || one.isDigit();
    };
    const auto isCapital = [](QChar one) {
        return one.isUpper();
    };
    return std::count_if(start.begin(), start.end(), isCapital) >= fewest &&
           std::all_of(end.begin(), end.end() - 1, isCapital) &&
           std::none_of(start.begin(), start.end(), isNone);
}

bool IsParted(const QString& end, const QString& start)
{
    return end.size() > 1 && end.endsWith(hyphen) &&
           (end[end.size() - 2].isLetter() || IsAddress(end)) &&
           (start.front().isLower() || AreOfCapitals(end, start));
}

QString Joined(const QString& end, const QString& start, const QSet<QString>& hyphenated)
{
    const QString beginning = end.chopped(1);
    const bool isHard =
        IsAddress(end) ? beginning.back().isLetterOrNumber()
                       : beginning.contains(hyphen) || hyphenated.contains((end + start).toLower());
    return (isHard ? end : beginning) + start;
}

/** Puts the rest of a parted word to its beginning. */
void JoinParted(Lines& lines, const QSet<QString>& hyphenated)
{
    for (std::size_t i = 0; i + 1 < lines.size(); ++i) {
        QStringList& line = lines[i];
        QStringList& next = lines[i + 1];
        if (line.isEmpty() || next.isEmpty() || !IsParted(line.last(), next.first()))
            continue;
        line.last() = Joined(line.last(), next.takeFirst(), hyphenated);
    }
}

} // namespace

QByteArray PlainText(const TextPage& page, bool dehyphenates)
{
    const QSet<QString> hyphenated = dehyphenates ? Hyphenated(page) : QSet<QString>();
    QByteArray text;
    for (const TextBlock& block : page.blocks) {
        Lines lines = LinesOf(block);
        if (dehyphenates)
            JoinParted(lines, hyphenated);
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
