#pragma once

#include "Input.h"

#include <string>
#include <vector>

namespace Korvel::App {

class Interruption;
struct InputOptions;

/**
 * The documents that were named, and then those of its list, in their order.
 *
 * What comes from standard input is written to a new file in `tempFolder`.
 *
 * @throws Failure  Input: the list or standard input cannot be read, or there is no input at all;
 *                  Output: no space for what standard input gives
 * @throws Interrupted  a signal came meanwhile
 */
std::vector<Input> CollectInputs(const InputOptions& options, const std::string& tempFolder,
                                 const Interruption& interruption);

} // namespace Korvel::App
