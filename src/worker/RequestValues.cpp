#include "RequestValues.h"

#include "RequestError.h"

#include <cmath>
#include <string>

namespace Korvel::Worker {

namespace {

constexpr double largestWholeNumber = 9'007'199'254'740'992; // of those that doubles hold exactly

} // namespace

void Refuse(const char* name, const char* why)
{
    throw RequestError(Reason::BadRequest, std::string(name) + why);
}

qint64 WholeNumber(const QJsonValue& value, const char* name)
{
    const double number = value.toDouble(std::nan(""));
    if (std::trunc(number) != number || std::abs(number) > largestWholeNumber)
        Refuse(name, " is missing or no whole number");
    return qint64(number);
}

qint64 NumberWithin(const QJsonValue& value, const char* name, qint64 highest)
{
    const qint64 number = WholeNumber(value, name);
    if (number < 1 || number > highest)
        Refuse(name, " is out of range");
    return number;
}

double ResolutionOf(const QJsonObject& request)
{
    using namespace WorkerProtocol;
    const double resolution =
        request.contains(Key::resolution) ? request[Key::resolution].toDouble() : defaultResolution;
    if (!(resolution >= lowestResolution && resolution <= highestResolution))
        Refuse(Key::resolution, " is out of range");
    return resolution;
}

bool IsSet(const QJsonObject& request, const char* name)
{
    if (request.contains(name) && !request[name].isBool())
        Refuse(name, " is neither true nor false");
    return request[name].toBool();
}

} // namespace Korvel::Worker
