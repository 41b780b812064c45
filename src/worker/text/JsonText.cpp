#include "JsonText.h"

#include "InHundredths.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace Korvel::Worker {

namespace {

/** An object with the box, where it is known. */
QJsonObject Boxed(const QRectF& box)
{
    if (box.isNull())
        return {};
    return {{"box", QJsonArray{InHundredths(box.x()), InHundredths(box.y()),
                               InHundredths(box.width()), InHundredths(box.height())}}};
}

QJsonObject ToJson(const TextWord& word, const std::vector<std::string>& fonts)
{
    QJsonObject json = Boxed(word.box);
    json["text"] = word.text;
    if (word.size > 0)
        json["size"] = InHundredths(word.size);
    if (word.font >= 0)
        json["font"] = QString::fromStdString(fonts.at(std::size_t(word.font)));
    return json;
}

QJsonObject ToJson(const TextLine& line, const std::vector<std::string>& fonts)
{
    QJsonArray words;
    for (const TextWord& word : line.words)
        words.append(ToJson(word, fonts));
    QJsonObject json = Boxed(line.box);
    json["words"] = words;
    return json;
}

QJsonObject ToJson(const TextBlock& block, const std::vector<std::string>& fonts)
{
    QJsonArray lines;
    for (const TextLine& line : block.lines)
        lines.append(ToJson(line, fonts));
    QJsonObject json = Boxed(block.box);
    json["lines"] = lines;
    return json;
}

} // namespace

QByteArray JsonText(const TextPage& page, qint64 number)
{
    QJsonArray blocks;
    for (const TextBlock& block : page.blocks)
        blocks.append(ToJson(block, page.fonts));
    const QJsonObject json{{"page", number},
                           {"width", InHundredths(page.size.width())},
                           {"height", InHundredths(page.size.height())},
                           {"blocks", blocks}};
    return QJsonDocument(json).toJson(QJsonDocument::Compact);
}

} // namespace Korvel::Worker
