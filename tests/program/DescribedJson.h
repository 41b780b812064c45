#pragma once

#include <QByteArray>

namespace Korvel::App {

/** Expects that docs/pdfconvert.schema.json describes every member of JSON values, as it is. */
void ExpectDescribed(const QByteArray& json);

} // namespace Korvel::App
