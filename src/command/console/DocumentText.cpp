#include "DocumentText.h"

#include "DocumentInfoJson.h"
#include "PageLabel.h"
#include "Text.h"
#include "WorkerProtocol.h"

#include <algorithm>
#include <cmath>
#include <functional>

namespace Korvel::App {

QJsonObject ToJson(const PDF::DocumentInfo& info)
{
    QJsonObject object = PDF::ToJson(info);
    const QJsonObject details = object.take(WorkerProtocol::Key::details).toObject();
    for (auto member = details.begin(); member != details.end(); ++member)
        object[member.key()] = member.value();
    object["pdfVersion"] = object.take(WorkerProtocol::Key::version);
    object.remove(WorkerProtocol::Key::encrypted);
    if (!info.encryption)
        object[WorkerProtocol::Key::encryption] = QJsonValue();
    return object;
}

namespace {

using Add = std::function<void(const QString& key, const QString& value)>;
using PDF::DocumentDetails;

QString ToText(const DocumentDetails::Pages& pages)
{
    const QString first = QString::number(pages.first);
    return pages.first == pages.last ? first : first + QStringLiteral("-%1").arg(pages.last);
}

QString ToText(const DocumentDetails::Size& size, int pages)
{
    constexpr double millimetersOfPoint = 25.4 / 72;
    QString text = QStringLiteral("%1 x %2 pt (%3 x %4 mm)")
                       .arg(size.width)
                       .arg(size.height)
                       .arg(std::lround(size.width * millimetersOfPoint))
                       .arg(std::lround(size.height * millimetersOfPoint));
    if (size.rotation != 0)
        text += QStringLiteral(", turned by %1 degrees").arg(size.rotation);
    const bool isOfAll = size.pages.first == 1 && size.pages.last == pages;
    return isOfAll ? text : text + QStringLiteral(", of ") + ToText(size.pages);
}

QString ToText(const DocumentDetails& details, const DocumentDetails::Labels& labels)
{
    const QString first = PDF::PageLabel(details, labels.pages.first);
    const QString last = PDF::PageLabel(details, labels.pages.last);
    return first == last ? first : first + QLatin1Char('-') + last;
}

QString LabelsOf(const DocumentDetails& details)
{
    constexpr std::size_t most = 8;
    QStringList rows;
    for (std::size_t row = 0; row < std::min(most, details.labels.size()); ++row)
        rows.append(ToText(details, details.labels[row]));
    if (details.labels.size() > most)
        rows.append(QStringLiteral("..."));
    return rows.join(QStringLiteral(", "));
}

QString TextOf(const DocumentDetails& details, int pages)
{
    if (details.withText.empty())
        return QStringLiteral("none");
    const DocumentDetails::Pages& first = details.withText.front();
    if (first.first == 1 && first.last == pages)
        return QStringLiteral("on all pages");
    QStringList ranges;
    for (const DocumentDetails::Pages& range : details.withText)
        ranges.append(ToText(range));
    return QStringLiteral("on ") + ranges.join(QStringLiteral(", "));
}

QString ToText(const DocumentDetails::Font& font)
{
    return (font.name.isEmpty() ? QStringLiteral("without a name") : font.name) +
           QStringLiteral(", ") + font.type +
           (font.isEmbedded ? QStringLiteral(", embedded") : QStringLiteral(", not embedded"));
}

QString ToText(const DocumentDetails::Signature& signature)
{
    if (!signature.isSigned)
        return signature.field + QStringLiteral(", not signed");
    return signature.field + QStringLiteral(", signed") +
           (signature.name.isEmpty() ? QString() : QStringLiteral(" by ") + signature.name) +
           QStringLiteral("; not verified");
}

QString ToText(const DocumentDetails::Attachment& attachment)
{
    if (attachment.bytes < 0)
        return attachment.name;
    return attachment.name + QStringLiteral(", %1 bytes").arg(attachment.bytes);
}

void AddDetails(const DocumentDetails& details, int pages, const Add& add)
{
    for (const DocumentDetails::Size& size : details.sizes)
        add("Page size", ToText(size, pages));
    if (!details.labels.empty())
        add("Page labels", LabelsOf(details));
    add("Text", TextOf(details, pages));
    for (const DocumentDetails::Font& font : details.fonts)
        add("Font", ToText(font));
    if (details.fields > 0 || details.hasXfa)
        add("Form fields", QString::number(details.fields) +
                               (details.hasXfa ? QStringLiteral(", and XFA") : QString()));
    for (const DocumentDetails::Signature& signature : details.signatures)
        add("Signature", ToText(signature));
    for (const DocumentDetails::Attachment& attachment : details.attachments)
        add("Attachment", ToText(attachment));
}

} // namespace

QString ToLines(const QString& name, const PDF::DocumentInfo& info)
{
    QString lines = WithoutControls(name) + QLatin1Char('\n');
    const Add add = [&lines](const QString& key, const QString& value) {
        lines += QStringLiteral("  %1 %2\n")
                     .arg(key + QLatin1Char(':'), -14)
                     .arg(WithoutControls(value));
    };
    add("Pages", QString::number(info.pages));
    add("PDF version", info.version);
    if (info.repaired)
        add("Damaged", QStringLiteral("yes, and repaired to open it"));
    if (info.encryption) {
        add("Encryption", QStringLiteral("%1, %2 bits")
                              .arg(WordFor(info.encryption->method))
                              .arg(info.encryption->bits));
        const bool areAlike = info.encryption->openedWith == PDF::OpenedWith::UserAndOwnerPassword;
        add("Opened with",
            areAlike ? QStringLiteral("the password, for user and owner alike")
                     : QStringLiteral("the %1 password").arg(WordFor(info.encryption->openedWith)));
        const QStringList allowed = WordsFor(info.encryption->permissions);
        add("Allows",
            allowed.isEmpty() ? QStringLiteral("nothing") : allowed.join(QStringLiteral(", ")));
    } else {
        add("Encryption", QStringLiteral("none"));
    }
    for (const auto& [key, value] : info.properties)
        add(key, value);
    if (info.details)
        AddDetails(*info.details, info.pages, add);
    return lines;
}

} // namespace Korvel::App
