#pragma once

#include <cstdio>
#include <string>

#include <QJsonObject>

namespace Korvel::Worker {

/**
 * The channel for answers, or null where there is none. What a library prints goes to standard
 * error instead, if that is open.
 */
std::FILE* TakeStandardOutput();

/** Reads a line; one that is too long is read as empty. False at the end of the input. */
bool ReadLine(std::string& line);

/** Sends an answer; false when it could not be sent. */
bool Send(std::FILE* answers, const QJsonObject& answer);

} // namespace Korvel::Worker
