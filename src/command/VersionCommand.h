#pragma once

#include "ExitCode.h"

namespace Korvel::App {

/**
 * Prints the version, and what keeps documents from doing damage on this machine, which the worker
 * program tells.
 *
 * @throws Failure  Internal: the worker program is missing or does not run
 */
ExitCode PrintVersion();

/**
 * Makes sure that nothing is missing of what keeps documents from doing damage on this machine.
 *
 * @throws Failure  Internal: something is, or the worker program is missing or does not run
 */
void RequireSandbox();

} // namespace Korvel::App
