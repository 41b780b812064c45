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
 * file in a folder that `makeFolder` makes; without the function pipes stay what they are. Where
 * folders stand for what is in them, each is followed by those that could not be read, and `tell`
 * is told what else was left away.
 *
 * @throws Failure  Input: the list, standard input or a pipe cannot be read;
 *                  Output: no space for what comes through one
 * @throws Interrupted  a signal came meanwhile
 */
std::vector<Input> CollectInputs(const InputOptions& options,
                                 const std::function<std::string()>& makeFolder,
                                 const std::function<void(const std::string& note)>& tell,
                                 const Interruption& interruption);

} // namespace Korvel::App
