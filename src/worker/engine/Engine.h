#pragma once

#include "EngineSettings.h"

#include <string>

namespace Korvel::Worker {

/**
 * Makes this program's engine ready, before anything else is done. Where another one is wanted, or
 * this one cannot be had, the program of the other takes this one's place, or the process ends as
 * not started.
 *
 * @param arguments  those of main(), which the other program is given
 */
void StartEngine(const EngineSettings& wanted, char** arguments);

/** Whether this program's engine works on a thread of Qt's pool, too. */
bool UsesThreadOfPool();

/** The name of this program's engine, and the file that it comes from, for people. */
std::string EngineName();

} // namespace Korvel::Worker
