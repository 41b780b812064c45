#include "PageRanges.h"

#include "Failure.h"

#include <algorithm>
#include <set>

#include <QRegularExpression>
#include <QString>
#include <QStringList>

namespace Korvel::App {

namespace {

/** The page that digits or "last" name; 0 for the document's last page. */
int ToPage(const QString& digits)
{
    if (digits.isEmpty() || digits == QLatin1String("last"))
        return 0;
    bool fits = false;
    const int page = digits.toInt(&fits);
    if (!fits || page < 1)
        throw Failure(ExitCode::Usage, "usage",
                      "'" + digits.left(20).toStdString() + "' is not a page number");
    return page;
}

} // namespace

PageRanges PageRanges::Parse(const std::string& text)
{
    PageRanges result;
    if (text.empty())
        return result;
    static const QRegularExpression form("^([0-9]+|last)(?:(-)([0-9]*|last))?$");
    for (const QString& piece : QString::fromStdString(text).split(QLatin1Char(','))) {
        const auto match = form.match(piece);
        if (!match.hasMatch())
            throw Failure(ExitCode::Usage, "usage",
                          "'" + piece.left(40).toStdString() +
                              "' is not a page or a range of pages; write such "
                              "as 1-3,7,9-,last");
        const int first = ToPage(match.captured(1));
        int last = first;
        if (!match.captured(2).isEmpty())
            last = ToPage(match.captured(3));
        if (last != 0 && (first == 0 || last < first))
            throw Failure(ExitCode::Usage, "usage",
                          "the page range '" + piece.toStdString() + "' runs backwards");
        result.ranges.push_back({first, last});
    }
    return result;
}

std::vector<int> PageRanges::Choose(int pageCount) const
{
    std::set<int> pages;
    for (const Range& range : ranges.empty() ? std::vector<Range>{{1, 0}} : ranges) {
        const int first = range.first == 0 ? pageCount : range.first;
        const int last = range.last == 0 ? pageCount : range.last;
        if (std::max(first, last) > pageCount)
            throw Failure(ExitCode::Usage, "no-such-page",
                          "there is no page " + std::to_string(std::max(first, last)) +
                              "; the last one is " + std::to_string(pageCount));
        for (int page = first; page <= last; ++page)
            pages.insert(page);
    }
    return {pages.begin(), pages.end()};
}

} // namespace Korvel::App
