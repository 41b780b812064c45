#pragma once

#include "ExitCode.h"

#include <string>
#include <vector>

namespace Korvel::App {

/**
 * Removes the session folders that killed runs have left in a folder, and the hidden files that
 * they have left in folders of results, and prints their paths.
 *
 * @throws Failure  Output: there is no such folder, or none that may be listed, or standard output
 *                  does not take the paths
 */
ExitCode CleanTemp(const std::string& tempFolder, const std::vector<std::string>& targets);

} // namespace Korvel::App
