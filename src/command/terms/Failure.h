#pragma once

#include "ExitCode.h"

#include <stdexcept>
#include <string>

namespace Korvel::App {

/** Ends the command, or the work on one input. */
class Failure : public std::runtime_error
{
public:
    /**
     * @param reason   for programs: a word that stays the same; listed in docs/command.md
     * @param message  for the user: what is wrong and what to do; where it concerns one input, the
     *                 input's name is put in front of it
     */
    Failure(ExitCode code, const char* reason, const std::string& message)
        : std::runtime_error(message), code(code), reason(reason)
    {
    }

    const ExitCode code;
    const char* const reason;
};

} // namespace Korvel::App
