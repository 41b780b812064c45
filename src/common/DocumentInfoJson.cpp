#include "DocumentInfoJson.h"

#include "DocumentDetailsJson.h"
#include "WorkerProtocol.h"

namespace Korvel::PDF {

namespace Key = WorkerProtocol::Key;

namespace {

struct Permission
{
    const char* word;
    bool Permissions::*isGranted;
};

constexpr Permission allPermissions[] = {{"print", &Permissions::print},
                                         {"printHighResolution", &Permissions::printHighResolution},
                                         {"modify", &Permissions::modify},
                                         {"copy", &Permissions::copy},
                                         {"annotate", &Permissions::annotate},
                                         {"fillForms", &Permissions::fillForms},
                                         {"accessibility", &Permissions::accessibility},
                                         {"assemble", &Permissions::assemble}};

QJsonObject ToJson(const Permissions& permissions)
{
    QJsonObject object;
    for (const Permission& permission : allPermissions)
        object[permission.word] = permissions.*permission.isGranted;
    return object;
}

Permissions ToPermissions(const QJsonObject& object)
{
    Permissions permissions;
    for (const Permission& permission : allPermissions)
        permissions.*permission.isGranted = object[permission.word].toBool();
    return permissions;
}

EncryptionMethod ToEncryptionMethod(const QString& word)
{
    for (const auto method : {EncryptionMethod::Rc4, EncryptionMethod::Aes}) {
        if (word == WordFor(method))
            return method;
    }
    return EncryptionMethod::Other;
}

OpenedWith ToOpenedWith(const QString& word)
{
    for (const auto password :
         {OpenedWith::UserPassword, OpenedWith::OwnerPassword, OpenedWith::UserAndOwnerPassword}) {
        if (word == WordFor(password))
            return password;
    }
    return OpenedWith::EmptyPassword;
}

QJsonObject ToJson(const EncryptionInfo& encryption)
{
    return {{Key::method, WordFor(encryption.method)},
            {Key::bits, encryption.bits},
            {Key::openedWith, WordFor(encryption.openedWith)},
            {Key::permissions, ToJson(encryption.permissions)}};
}

std::optional<EncryptionInfo> ToEncryptionInfo(const QJsonValue& encryption)
{
    if (!encryption.isObject())
        return std::nullopt;
    return EncryptionInfo{ToEncryptionMethod(encryption[Key::method].toString()),
                          encryption[Key::bits].toInt(),
                          ToOpenedWith(encryption[Key::openedWith].toString()),
                          ToPermissions(encryption[Key::permissions].toObject())};
}

} // namespace

QJsonObject ToJson(const DocumentInfo& info)
{
    QJsonObject properties;
    for (const auto& [name, text] : info.properties)
        properties[name] = text;
    QJsonObject object{{Key::pages, info.pages},
                       {Key::encrypted, info.encrypted},
                       {Key::repaired, info.repaired},
                       {Key::version, info.version},
                       {Key::properties, properties}};
    if (info.encryption)
        object[Key::encryption] = ToJson(*info.encryption);
    if (info.details)
        object[Key::details] = ToJson(*info.details);
    return object;
}

DocumentInfo ToDocumentInfo(const QJsonObject& answer)
{
    DocumentInfo info;
    info.pages = answer[Key::pages].toInt();
    info.encrypted = answer[Key::encrypted].toBool();
    info.encryption = ToEncryptionInfo(answer[Key::encryption]);
    info.repaired = answer[Key::repaired].toBool();
    info.version = answer[Key::version].toString();
    const QJsonObject properties = answer[Key::properties].toObject();
    for (auto property = properties.begin(); property != properties.end(); ++property)
        info.properties.emplace(property.key(), property.value().toString());
    if (answer[Key::details].isObject())
        info.details = ToDocumentDetails(answer[Key::details].toObject());
    return info;
}

QString WordFor(EncryptionMethod method)
{
    switch (method) {
    case EncryptionMethod::Rc4:
        return "RC4";
    case EncryptionMethod::Aes:
        return "AES";
    case EncryptionMethod::Other:
        break;
    }
    return "other";
}

QString WordFor(OpenedWith password)
{
    switch (password) {
    case OpenedWith::EmptyPassword:
        return "empty";
    case OpenedWith::UserPassword:
        return "user";
    case OpenedWith::OwnerPassword:
        return "owner";
    case OpenedWith::UserAndOwnerPassword:
        break;
    }
    return "both";
}

QStringList WordsFor(const Permissions& permissions)
{
    QStringList words;
    for (const Permission& permission : allPermissions) {
        if (permissions.*permission.isGranted)
            words.append(permission.word);
    }
    words.sort();
    return words;
}

} // namespace Korvel::PDF
