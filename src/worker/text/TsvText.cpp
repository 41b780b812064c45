#include "TsvText.h"

#include "InHundredths.h"

namespace Korvel::Worker {

namespace {

QByteArray Number(double number)
{
    return QByteArray::number(InHundredths(number), 'g', 12);
}

QByteArray PlaceOf(const QRectF& box)
{
    if (box.isNull())
        return "\t\t\t";
    return Number(box.x()) + '\t' + Number(box.y()) + '\t' + Number(box.width()) + '\t' +
           Number(box.height());
}

QByteArray FontOf(const TextWord& word, const std::vector<std::string>& fonts)
{
    return word.font < 0 ? QByteArray()
                         : QByteArray::fromStdString(fonts.at(std::size_t(word.font)));
}

} // namespace

QByteArray TsvText(const TextPage& page, qint64 number)
{
    QByteArray text;
    int blocks = 0;
    for (const TextBlock& block : page.blocks) {
        int lines = 0;
        ++blocks;
        for (const TextLine& line : block.lines) {
            int words = 0;
            ++lines;
            for (const TextWord& word : line.words) {
                const auto count = [](qint64 one) {
                    return QByteArray::number(one) + '\t';
                };
                text += count(number) + count(blocks) + count(lines) + count(++words) +
                        PlaceOf(word.box) + '\t' + (word.size > 0 ? Number(word.size) : "") + '\t' +
                        FontOf(word, page.fonts) + '\t' + word.text.toUtf8() + '\n';
            }
        }
    }
    return text;
}

} // namespace Korvel::Worker
