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

} // namespace Korvel::App
