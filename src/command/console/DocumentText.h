#pragma once

#include <QJsonObject>
#include <QString>

namespace Korvel {
namespace PDF {
struct DocumentInfo;
}

namespace App {

/** What a document says of itself, for programs: the members are listed in docs/command.md. */
QJsonObject ToJson(const PDF::DocumentInfo& info);

/** What a document says of itself, for people, in lines below the document's name. */
QString ToLines(const QString& name, const PDF::DocumentInfo& info);

} // namespace App
} // namespace Korvel
