#pragma once

#include <memory>

#include <QProcess>

namespace Korvel::App {

/**
 * Starts `process`; false when the system has no room for another one.
 *
 * Qt 5.15 does not look whether it could make a process: it takes it for started, with the id -1,
 * and whoever ends or kills it then does so to everything that the user runs. Such an object is put
 * aside for ever, and one that was never started takes its place, with the same parent.
 *
 * A program that cannot be run is told by FailedToStart, as ever.
 */
bool StartProcess(std::unique_ptr<QProcess>& process, const QString& program,
                  const QStringList& arguments);

} // namespace Korvel::App
