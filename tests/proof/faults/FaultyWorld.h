#pragma once

#include "Fault.h"
#include "World.h"

namespace Korvel::PDF::Test {

/** What a service throws that does not know std::exception. */
struct NoException
{
};

/**
 * A world whose services, and whose converter, ask `meet` at each call how it is to end. What
 * throws or calls back does so in there. `tell` is told each task that reaches the converter,
 * before anything else.
 */
World MakeFaultyWorld(const std::function<Outcome(Call)>& meet,
                      const std::function<void(const Converter::AbstractConverter::Task&)>& tell);

} // namespace Korvel::PDF::Test
