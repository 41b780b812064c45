#include "DocumentText.h"

#include "Text.h"
#include "WorkerPdfProvider.h"

namespace Korvel::App {

namespace {

QJsonObject ToJson(const PDF::Permissions& permissions)
{
    return {{"print", permissions.print},
            {"printHighResolution", permissions.printHighResolution},
            {"modify", permissions.modify},
            {"copy", permissions.copy},
            {"annotate", permissions.annotate},
            {"fillForms", permissions.fillForms},
            {"accessibility", permissions.accessibility},
            {"assemble", permissions.assemble}};
}

QString ToText(PDF::EncryptionMethod method)
{
    switch (method) {
    case PDF::EncryptionMethod::Rc4:
        return "RC4";
    case PDF::EncryptionMethod::Aes:
        return "AES";
    case PDF::EncryptionMethod::Other:
        break;
    }
    return "other";
}

QString ToText(PDF::OpenedWith password)
{
    switch (password) {
    case PDF::OpenedWith::EmptyPassword:
        return "empty";
    case PDF::OpenedWith::UserPassword:
        return "user";
    case PDF::OpenedWith::OwnerPassword:
        return "owner";
    case PDF::OpenedWith::UserAndOwnerPassword:
        break;
    }
    return "both";
}

} // namespace

QJsonObject ToJson(const PDF::DocumentInfo& info)
{
    QJsonObject object{{"pages", info.pages},
                       {"pdfVersion", info.version},
                       {"repaired", info.repaired},
                       {"encryption", QJsonValue()}};
    if (info.encryption)
        object["encryption"] = QJsonObject{{"method", ToText(info.encryption->method)},
                                           {"bits", info.encryption->bits},
                                           {"openedWith", ToText(info.encryption->openedWith)},
                                           {"permissions", ToJson(info.encryption->permissions)}};
    QJsonObject properties;
    for (const auto& [key, value] : info.properties)
        properties[key] = value;
    object["properties"] = properties;
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
    add("Pages", QString::number(info.pages));
    add("PDF version", info.version);
    if (info.repaired)
        add("Damaged", QStringLiteral("yes, and repaired to open it"));
    if (info.encryption) {
        add("Encryption", QStringLiteral("%1, %2 bits")
                              .arg(ToText(info.encryption->method))
                              .arg(info.encryption->bits));
        const bool areAlike = info.encryption->openedWith == PDF::OpenedWith::UserAndOwnerPassword;
        add("Opened with",
            areAlike ? QStringLiteral("the password, for user and owner alike")
                     : QStringLiteral("the %1 password").arg(ToText(info.encryption->openedWith)));
        QStringList allowed;
        const QJsonObject permissions = ToJson(info.encryption->permissions);
        for (auto entry = permissions.begin(); entry != permissions.end(); ++entry) {
            if (entry.value().toBool())
                allowed.append(entry.key());
        }
        add("Allows",
            allowed.isEmpty() ? QStringLiteral("nothing") : allowed.join(QStringLiteral(", ")));
    } else {
        add("Encryption", QStringLiteral("none"));
    }
    for (const auto& [key, value] : info.properties)
        add(key, value);
    return lines;
}

} // namespace Korvel::App
