#include "PageNumbers.h"

#include <algorithm>

#include <QStringList>

namespace Korvel {

QString PageNumbers(std::vector<int> pages)
{
    std::sort(pages.begin(), pages.end());
    QStringList ranges;
    for (std::size_t first = 0, next = 0; first < pages.size(); first = next) {
        const auto isNext = [&] {
            return next < pages.size() && qint64(pages[next]) - pages[next - 1] == 1;
        };
        for (++next; isNext();)
            ++next;
        const QString begin = QString::number(pages[first]);
        const QString end = QString::number(pages[next - 1]);
        ranges.append(begin == end ? begin : begin + QLatin1Char('-') + end);
    }
    return ranges.join(QStringLiteral(", "));
}

QString NamedPages(const std::vector<int>& pages)
{
    return (pages.size() == 1 ? QStringLiteral("page ") : QStringLiteral("pages ")) +
           PageNumbers(pages);
}

} // namespace Korvel
