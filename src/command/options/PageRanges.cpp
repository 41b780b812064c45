#include "PageRanges.h"

#include "Failure.h"

#include <algorithm>
#include <set>

#include <QRegularExpression>
#include <QString>
#include <QStringList>

namespace Korvel::App {

namespace {

[[noreturn]] void Refuse(const std::string& message)
{
    throw Failure(ExitCode::Usage, "usage", message);
}

/** The page that a word names, from the end if it is negative. */
int ToPage(const QString& word)
{
    if (word.isEmpty() || word == QLatin1String("last"))
        return -1;
    const bool isFromEnd = word.startsWith(QLatin1Char('r'));
    bool fits = false;
    const int number = word.mid(isFromEnd ? 1 : 0).toInt(&fits);
    if (!fits || number < 1)
        Refuse("'" + word.left(20).toStdString() + "' is not a page number");
    return isFromEnd ? -number : number;
}

/** Whether it does so in every document. */
bool RunsBackwards(int first, int last)
{
    return (first < 0) == (last < 0) ? last < first : first == -1;
}

/** Takes ":odd" or ":even" from the end of the text, or the word alone; whether it was there. */
bool TakeWord(const QString& word, QString& text)
{
    if (text == word)
        text = QStringLiteral("1-");
    else if (text.endsWith(':' + word))
        text.chop(word.size() + 1);
    else
        return false;
    return true;
}

/** Every second of the pages. */
std::vector<int> EverySecond(const std::vector<int>& pages, std::size_t from)
{
    std::vector<int> left;
    for (std::size_t i = from; i < pages.size(); i += 2)
        left.push_back(pages[i]);
    return left;
}

[[noreturn]] void RefuseFor(const std::string& page, int pageCount)
{
    throw Failure(ExitCode::Usage, "no-such-page",
                  "there is no " + page + "; the last one is " + std::to_string(pageCount));
}

} // namespace

PageRanges PageRanges::Parse(const std::string& text)
{
    PageRanges result;
    QString pieces = QString::fromStdString(text);
    if (TakeWord(QStringLiteral("odd"), pieces))
        result.half = Half::Odd;
    else if (TakeWord(QStringLiteral("even"), pieces))
        result.half = Half::Even;
    if (text.empty())
        return result;
    for (const QString& piece : pieces.split(QLatin1Char(',')))
        result.ranges.push_back(ParsePiece(piece));
    return result;
}

PageRanges::Range PageRanges::ParsePiece(const QString& piece)
{
    static const QRegularExpression form("^(r?[0-9]+|last)(?:(-)(r?[0-9]+|last)?)?$");
    const auto match = form.match(piece);
    if (!match.hasMatch())
        Refuse("'" + piece.left(40).toStdString() +
               "' is not a page or a range of pages; write such as 1-3,7,9-, last, r2 for the last "
               "but one, or odd");
    const int first = ToPage(match.captured(1));
    const int last = match.captured(2).isEmpty() ? first : ToPage(match.captured(3));
    if (RunsBackwards(first, last))
        Refuse("the page range '" + piece.toStdString() + "' runs backwards");
    return {piece.toStdString(), first, last};
}

std::vector<int> PageRanges::Choose(int pageCount) const
{
    std::set<int> chosen;
    for (const Range& range : ranges.empty() ? std::vector<Range>{{"", 1, -1}} : ranges) {
        const auto ofDocument = [pageCount](int page) {
            return page < 0 ? pageCount + 1 + page : page;
        };
        const int first = std::max(ofDocument(range.first), 1);
        const int last = std::min(ofDocument(range.last), pageCount);
        if (first > last)
            RefuseFor("page " + (first > pageCount ? std::to_string(first) : range.text),
                      pageCount);
        for (int page = first; page <= last; ++page)
            chosen.insert(page);
    }
    std::vector<int> pages(chosen.begin(), chosen.end());
    if (!half)
        return pages;
    if (*half == Half::Even && pages.size() < 2)
        RefuseFor("second page among those chosen", pageCount);
    return EverySecond(pages, *half == Half::Odd ? 0 : 1);
}

} // namespace Korvel::App
