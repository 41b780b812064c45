#include "DocumentText.h"

#include "Text.h"
#include "WorkerPdfProvider.h"

namespace Korvel::App {

namespace {

QJsonObject ToJson(const PDF::Permissions& permissions)
{
    return {{QStringLiteral("print"), permissions.print},
            {QStringLiteral("printHighResolution"), permissions.printHighResolution},
            {QStringLiteral("modify"), permissions.modify},
            {QStringLiteral("copy"), permissions.copy},
            {QStringLiteral("annotate"), permissions.annotate},
            {QStringLiteral("fillForms"), permissions.fillForms},
            {QStringLiteral("accessibility"), permissions.accessibility},
            {QStringLiteral("assemble"), permissions.assemble}};
}

QString ToText(PDF::EncryptionMethod method)
{
    switch (method) {
    case PDF::EncryptionMethod::Rc4:
        return QStringLiteral("RC4");
    case PDF::EncryptionMethod::Aes:
        return QStringLiteral("AES");
    case PDF::EncryptionMethod::Other:
        break;
    }
    return QStringLiteral("other");
}

QString ToText(PDF::OpenedWith password)
{
    switch (password) {
    case PDF::OpenedWith::EmptyPassword:
        return QStringLiteral("empty");
    case PDF::OpenedWith::UserPassword:
        return QStringLiteral("user");
    case PDF::OpenedWith::OwnerPassword:
        return QStringLiteral("owner");
    case PDF::OpenedWith::UserAndOwnerPassword:
        break;
    }
    return QStringLiteral("both");
}

} // namespace

QJsonObject ToJson(const PDF::DocumentInfo& info)
{
    QJsonObject object{{QStringLiteral("pages"), info.pages},
                       {QStringLiteral("pdfVersion"), info.version},
                       {QStringLiteral("repaired"), info.repaired},
                       {QStringLiteral("encryption"), QJsonValue()}};
    if (info.encryption)
        object[QStringLiteral("encryption")] =
            QJsonObject{{QStringLiteral("method"), ToText(info.encryption->method)},
                        {QStringLiteral("bits"), info.encryption->bits},
                        {QStringLiteral("openedWith"), ToText(info.encryption->openedWith)},
                        {QStringLiteral("permissions"), ToJson(info.encryption->permissions)}};
    QJsonObject properties;
    for (const auto& [key, value] : info.properties)
        properties[key] = value;
    object[QStringLiteral("properties")] = properties;
    return object;
}

QString ToLines(const QString& name, const PDF::DocumentInfo& info)
{
    QString lines = WithoutControls(name) + QLatin1Char('\n');
    const auto add = [&lines](const QString& key, const QString& value) {
        lines += QStringLiteral("  %1 %2\n")
                     .arg(key + QLatin1Char(':'), -14)
                     .arg(WithoutControls(value));
    };
    add(QStringLiteral("Pages"), QString::number(info.pages));
    add(QStringLiteral("PDF version"), info.version);
    if (info.repaired)
        add(QStringLiteral("Damaged"), QStringLiteral("yes, and repaired to open it"));
    if (info.encryption) {
        add(QStringLiteral("Encryption"), QStringLiteral("%1, %2 bits")
                                              .arg(ToText(info.encryption->method))
                                              .arg(info.encryption->bits));
        const bool areAlike = info.encryption->openedWith == PDF::OpenedWith::UserAndOwnerPassword;
        add(QStringLiteral("Opened with"),
            areAlike ? QStringLiteral("the password, for user and owner alike")
                     : QStringLiteral("the %1 password").arg(ToText(info.encryption->openedWith)));
        QStringList allowed;
        const QJsonObject permissions = ToJson(info.encryption->permissions);
        for (auto entry = permissions.begin(); entry != permissions.end(); ++entry) {
            if (entry.value().toBool())
                allowed.append(entry.key());
        }
        add(QStringLiteral("Allows"),
            allowed.isEmpty() ? QStringLiteral("nothing") : allowed.join(QStringLiteral(", ")));
    } else {
        add(QStringLiteral("Encryption"), QStringLiteral("none"));
    }
    for (const auto& [key, value] : info.properties)
        add(key, value);
    return lines;
}

} // namespace Korvel::App
