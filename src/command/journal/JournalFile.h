#pragma once

#include <functional>

#include <QJsonObject>
#include <QString>

namespace Korvel::App {

/** The version of the lines that are written; raised when a member changes its meaning or goes. */
constexpr int journalVersion = 1;

/**
 * Reads the lines of a journal, whose members docs/command.md describes.
 *
 * A last line without its end was torn when its writer was killed, or is just being written, and is
 * left away.
 *
 * @param from  where to begin: 0, or what an earlier call has returned
 * @return where the last whole line ends, in bytes from the beginning
 * @throws Failure  Input: it cannot be read, is no journal, or one of a later version
 */
qint64 ReadJournal(const QString& path, qint64 from,
                   const std::function<void(const QJsonObject&)>& take);

} // namespace Korvel::App
