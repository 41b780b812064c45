#include "DocumentText.h"

#include "DocumentInfoJson.h"
#include "Text.h"
#include "WorkerProtocol.h"

namespace Korvel::App {

QJsonObject ToJson(const PDF::DocumentInfo& info)
{
    QJsonObject object = PDF::ToJson(info);
    object["pdfVersion"] = object.take(WorkerProtocol::Key::version);
    object.remove(WorkerProtocol::Key::encrypted);
    if (!info.encryption)
        object[WorkerProtocol::Key::encryption] = QJsonValue();
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
    return lines;
}

} // namespace Korvel::App
