#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QString>

/** Reads members of requests; what is none that was wanted fails with "bad-request". */
namespace Korvel::Worker {

[[noreturn]] void Refuse(const char* name, const char* why);

qint64 WholeNumber(const QJsonValue& value, const char* name);

/** A whole number from 1 to `highest`. */
qint64 NumberWithin(const QJsonValue& value, const char* name, qint64 highest);

/** Dots per inch; the usual ones where the request names none. */
double ResolutionOf(const QJsonObject& request);

/** False where the member is not there. */
bool IsSet(const QJsonObject& request, const char* name);

} // namespace Korvel::Worker
