#pragma once

#include "Program.h"

#include <vector>

#include <QByteArray>
#include <QJsonObject>

namespace Korvel::App {

/**
 * Expects that a schema describes every member of JSON values, as it is:
 * docs/pdfconvert.schema.json where none is named.
 */
void ExpectDescribed(const QByteArray& json, const QString& schema = QStringLiteral(JSON_SCHEMA));

/** The document that a run with --json has closed with, which is described. */
QJsonObject Closing(const Outcome& run);

/** The events of a run with --progress json, which are described. */
std::vector<QJsonObject> Events(const Outcome& run);

} // namespace Korvel::App
