#pragma once

#include <cstdio>
#include <string>

#include <QJsonObject>

namespace Korvel::Worker {

/** Reads a line; one that is too long is read as empty. False at the end of the input. */
bool ReadLine(std::string& line);

/** Sends an answer; false when it could not be sent. */
bool Send(std::FILE* answers, const QJsonObject& answer);

} // namespace Korvel::Worker
