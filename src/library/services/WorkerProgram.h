#pragma once

#include "WorkerSettings.h"

#include <string>
#include <vector>

namespace Korvel::PDF {

/** What WorkerProcess::FindProgram tells. */
QString FindWorkerProgram();

/**
 * The program of these settings, or the one that is found for their engine where they have none;
 * empty where that is nowhere.
 */
QString WorkerProgramOf(const WorkerSettings& settings);

/** The program of these settings, as the first one, and its arguments. */
std::vector<std::string> WorkerCommand(const WorkerSettings& settings);

/** All that a worker is given of the environment, as "NAME=value". */
std::vector<std::string> WorkerEnvironment();

/** Why there is no worker: the system has no room for another process, or for its files. */
QString NoRoomForWorker();
QString NoFilesForWorker();

/** Why there is no worker: the program is nowhere, or the system says so of it. */
QString WhyNoWorker(const QString& program, const QString& error);

} // namespace Korvel::PDF
