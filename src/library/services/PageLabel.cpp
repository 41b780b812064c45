#include "PageLabel.h"

#include "DocumentDetails.h"

#include <algorithm>

namespace Korvel::PDF {

namespace {

using Numbering = DocumentDetails::Labels::Numbering;

// Longer ones would be rows of a letter that say nothing.
constexpr int largestRoman = 9'999;
constexpr int mostLetters = 100;

QString Roman(qint64 number)
{
    if (number < 1 || number > largestRoman)
        return QString::number(number);
    static constexpr struct
    {
        int value;
        const char* letters;
    } parts[] = {{1000, "m"}, {900, "cm"}, {500, "d"}, {400, "cd"}, {100, "c"},
                 {90, "xc"},  {50, "l"},   {40, "xl"}, {10, "x"},   {9, "ix"},
                 {5, "v"},    {4, "iv"},   {1, "i"}};
    QString text;
    for (const auto& part : parts) {
        for (; number >= part.value; number -= part.value)
            text += QLatin1String(part.letters);
    }
    return text;
}

/** a to z, then aa to zz, aaa to zzz. */
QString Letters(qint64 number)
{
    constexpr int letters = 26;
    const qint64 count = (number - 1) / letters + 1;
    if (number < 1 || count > mostLetters)
        return QString::number(number);
    return QString(int(count), QLatin1Char(char('a' + (number - 1) % letters)));
}

QString Numbered(Numbering numbering, qint64 number)
{
    switch (numbering) {
    case Numbering::Decimal:
        return QString::number(number);
    case Numbering::LowerRoman:
        return Roman(number);
    case Numbering::UpperRoman:
        return Roman(number).toUpper();
    case Numbering::LowerLetters:
        return Letters(number);
    case Numbering::UpperLetters:
        return Letters(number).toUpper();
    case Numbering::None:
        break;
    }
    return {};
}

} // namespace

QString PageLabel(const DocumentDetails& details, int page)
{
    const auto labels = std::find_if(details.labels.begin(), details.labels.end(),
                                     [page](const DocumentDetails::Labels& row) {
                                         return row.pages.first <= page && page <= row.pages.last;
                                     });
    if (labels == details.labels.end())
        return QString::number(page);
    return labels->prefix +
           Numbered(labels->numbering, qint64(labels->start) + page - labels->pages.first);
}

} // namespace Korvel::PDF
