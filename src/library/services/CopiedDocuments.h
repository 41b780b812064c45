#pragma once

#include <string>

#include <QString>

namespace Korvel::PDF {

/** Lets messages name the document that a copy was made of. Thread-safe. */
namespace CopiedDocuments {

/**
 * Remembers of which document `copy` is one; the oldest of a thousand copies is forgotten. One that
 * is in use for longer is remembered anew.
 */
void Remember(const std::string& copy, const std::string& document);

/** What messages call the file at `path`: the document that it is a copy of, or itself. */
QString NameOf(const QString& path);

} // namespace CopiedDocuments

} // namespace Korvel::PDF
