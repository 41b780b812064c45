#pragma once

#include "ExitCode.h"

#include <string>

namespace Korvel::App {

/**
 * Removes the session folders that killed runs have left in a folder, and prints their paths.
 *
 * @throws Failure  Output: there is no such folder, or none that may be listed, or standard output
 *                  does not take the paths
 */
ExitCode CleanTemp(const std::string& tempFolder);

} // namespace Korvel::App
