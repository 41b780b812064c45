#include "ProgressBar.h"

#include "Text.h"

#include <algorithm>
#include <cmath>

namespace Korvel::App {

namespace {

constexpr int barWidth = 24;
constexpr int longestName = 30;

QString Shortened(const QString& name)
{
    return name.size() > longestName ? name.left(longestName - 3) + QStringLiteral("...") : name;
}

QString Duration(qint64 seconds)
{
    return QStringLiteral("%1:%2").arg(seconds / 60).arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

QString Bar(double fraction)
{
    const int filled = int(fraction * barWidth);
    return QStringLiteral(" [%1%2]").arg(QString(filled, QLatin1Char('#')),
                                         QString(barWidth - filled, QLatin1Char('.')));
}

} // namespace

void ProgressBar::Expect(int documents, int pages)
{
    expectedDocuments = documents;
    expectedPages = pages;
    if (!sinceBegin.isValid())
        sinceBegin.start();
}

int ProgressBar::Begin(const QString& name, int pages)
{
    Work& work = inWork[++lastNumber];
    work = {name, pages, 0, {}};
    work.sinceBegin.start();
    return lastNumber;
}

const ProgressBar::Work& ProgressBar::Advance(int number, double fraction)
{
    Work& work = inWork.at(number);
    work.fraction = fraction;
    return work;
}

void ProgressBar::End(int number)
{
    if (const auto ended = inWork.extract(number)) {
        ++endedDocuments;
        endedPages += ended.mapped().pages;
    }
}

QString ProgressBar::Text(bool hasBar) const
{
    const double pages = Pages();
    const double fraction = pages / std::max(expectedPages, 1);
    const QString counts = QStringLiteral(" %1/%2 pages %3%")
                               .arg(int(pages + 0.001))
                               .arg(expectedPages)
                               .arg(int(fraction * 100 + 0.001));
    return Subject() + (hasBar ? Bar(fraction) : QString()) + counts + Rate(fraction);
}

/** How many pages are done, with the parts of those in work. */
double ProgressBar::Pages() const
{
    double pages = endedPages;
    for (const auto& [number, work] : inWork)
        pages += work.fraction * work.pages;
    return pages;
}

QString ProgressBar::Subject() const
{
    if (expectedDocuments == 1)
        return WithoutControls(Shortened(inWork.begin()->second.name));
    return QStringLiteral("%1/%2 documents").arg(endedDocuments).arg(expectedDocuments);
}

/** Empty as long as there is nothing to reckon with. */
QString ProgressBar::Rate(double fraction) const
{
    const double seconds = double(sinceBegin.elapsed()) / 1000;
    if (fraction <= 0 || seconds < 1)
        return {};
    return QStringLiteral(" %1/s %2 left")
        .arg(Pages() / seconds, 0, 'f', 1)
        .arg(Duration(std::llround(seconds * (1 - fraction) / fraction)));
}

} // namespace Korvel::App
