#pragma once

#include <cstdio>
#include <string>

#include <QJsonObject>

namespace Korvel::Worker {

/**
 * The channel for answers, or null. What a library prints goes to standard error instead, if there
 * is one.
 */
std::FILE* TakeStandardOutput();

/** The next line; an empty one for one that is too long. False at the end of the input. */
bool ReadLine(std::string& line);

/** False when it could not be sent. */
bool Send(std::FILE* answers, const QJsonObject& answer);

} // namespace Korvel::Worker
