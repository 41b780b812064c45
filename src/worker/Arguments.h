#pragma once

#include "EngineSettings.h"
#include "SandboxSettings.h"

#include <optional>

namespace Korvel::Worker {

/** What the worker is told when it is started. */
struct Arguments
{
    SandboxSettings settings;
    EngineSettings engine;
    bool wantsVersion = false;
};

/** The arguments of main(); nothing where they are not understood, which standard error is told. */
std::optional<Arguments> ParseArguments(int argc, char** argv);

} // namespace Korvel::Worker
