#pragma once

#include "SandboxSettings.h"

#include <optional>

namespace Korvel::Worker {

/** What the worker is told when it is started. */
struct Arguments
{
    SandboxSettings settings;
    bool wantsVersion = false;
};

/** The arguments of main(); nothing where they are not understood. */
std::optional<Arguments> ParseArguments(int argc, const char* const* argv);

} // namespace Korvel::Worker
