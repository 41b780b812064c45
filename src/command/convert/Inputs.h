#pragma once

#include "Input.h"

#include <functional>
#include <string>
#include <vector>

namespace Korvel::App {

class Interruption;
struct InputOptions;

/**
 * The documents that were named, and then those of its list, in their order.
 *
 * What comes from standard input, or through a pipe that an argument names, is written to a new
 * file in a folder that `makeFolder` makes; without the function pipes stay what they are.
 *
 * @throws Failure  Input: the list, standard input or a pipe cannot be read;
 *                  Output: no space for what comes through one
 * @throws Interrupted  a signal came meanwhile
 */
std::vector<Input> CollectInputs(const InputOptions& options,
                                 const std::function<std::string()>& makeFolder,
                                 const Interruption& interruption);

} // namespace Korvel::App
