#include "DocumentDetailsJson.h"

#include <utility>

#include <QJsonArray>

namespace Korvel::PDF {

namespace {

using Details = DocumentDetails;

QJsonObject ToJson(const Details::Pages& pages)
{
    return {{"first", pages.first}, {"last", pages.last}};
}

void Read(const QJsonValue& value, Details::Pages& pages)
{
    pages = {value["first"].toInt(), value["last"].toInt()};
}

QJsonObject ToJson(const Details::Size& size)
{
    return {{"first", size.pages.first},
            {"last", size.pages.last},
            {"width", size.width},
            {"height", size.height},
            {"rotation", size.rotation}};
}

void Read(const QJsonValue& value, Details::Size& size)
{
    Read(value, size.pages);
    size.width = value["width"].toDouble();
    size.height = value["height"].toDouble();
    size.rotation = value["rotation"].toInt();
}

constexpr std::pair<Details::Labels::Numbering, const char*> numberings[] = {
    {Details::Labels::Numbering::None, "none"},
    {Details::Labels::Numbering::Decimal, "decimal"},
    {Details::Labels::Numbering::LowerRoman, "lower-roman"},
    {Details::Labels::Numbering::UpperRoman, "upper-roman"},
    {Details::Labels::Numbering::LowerLetters, "lower-letters"},
    {Details::Labels::Numbering::UpperLetters, "upper-letters"}};

QJsonObject ToJson(const Details::Labels& labels)
{
    QJsonObject object = ToJson(labels.pages);
    object["prefix"] = labels.prefix;
    for (const auto& [numbering, word] : numberings) {
        if (numbering == labels.numbering)
            object["numbering"] = word;
    }
    object["start"] = labels.start;
    return object;
}

void Read(const QJsonValue& value, Details::Labels& labels)
{
    Read(value, labels.pages);
    labels.prefix = value["prefix"].toString();
    for (const auto& [numbering, word] : numberings) {
        if (value["numbering"].toString() == QLatin1String(word))
            labels.numbering = numbering;
    }
    labels.start = value["start"].toInt();
}

QJsonObject ToJson(const Details::Font& font)
{
    return {{"name", font.name}, {"type", font.type}, {"embedded", font.isEmbedded}};
}

void Read(const QJsonValue& value, Details::Font& font)
{
    font = {value["name"].toString(), value["type"].toString(), value["embedded"].toBool()};
}

QJsonObject ToJson(const Details::Signature& signature)
{
    return {{"field", signature.field}, {"signed", signature.isSigned}, {"name", signature.name}};
}

void Read(const QJsonValue& value, Details::Signature& signature)
{
    signature = {value["field"].toString(), value["signed"].toBool(), value["name"].toString()};
}

QJsonObject ToJson(const Details::Attachment& attachment)
{
    QJsonObject object{{"name", attachment.name}};
    if (attachment.bytes >= 0)
        object["bytes"] = attachment.bytes;
    return object;
}

/** A number of bytes that a double holds exactly; -1 for all else. */
qint64 ToBytes(const QJsonValue& value)
{
    constexpr double most = 9007199254740992; // 2 to the power of 53
    const double bytes = value.toDouble(-1);
    return bytes >= 0 && bytes <= most ? qint64(bytes) : -1;
}

void Read(const QJsonValue& value, Details::Attachment& attachment)
{
    attachment = {value["name"].toString(), ToBytes(value["bytes"])};
}

template <typename T>
QJsonArray ToArray(const std::vector<T>& list)
{
    QJsonArray array;
    for (const T& item : list)
        array.append(ToJson(item));
    return array;
}

template <typename T>
void ReadArray(const QJsonValue& array, std::vector<T>& list)
{
    for (const QJsonValue item : array.toArray()) {
        list.emplace_back();
        Read(item, list.back());
    }
}

} // namespace

QJsonObject ToJson(const DocumentDetails& details)
{
    return {{"pageSizes", ToArray(details.sizes)},
            {"pageLabels", ToArray(details.labels)},
            {"textPages", ToArray(details.withText)},
            {"fonts", ToArray(details.fonts)},
            {"form", QJsonObject{{"fields", details.fields}, {"xfa", details.hasXfa}}},
            {"signatures", ToArray(details.signatures)},
            {"attachments", ToArray(details.attachments)}};
}

DocumentDetails ToDocumentDetails(const QJsonObject& object)
{
    DocumentDetails details;
    ReadArray(object["pageSizes"], details.sizes);
    ReadArray(object["pageLabels"], details.labels);
    ReadArray(object["textPages"], details.withText);
    ReadArray(object["fonts"], details.fonts);
    details.fields = object["form"]["fields"].toInt();
    details.hasXfa = object["form"]["xfa"].toBool();
    ReadArray(object["signatures"], details.signatures);
    ReadArray(object["attachments"], details.attachments);
    return details;
}

} // namespace Korvel::PDF
