#pragma once

#include <exception>

namespace Korvel::App {

/** Ends the command because a signal asked for it. */
class Interrupted : public std::exception
{
public:
    const char* what() const noexcept override { return "interrupted"; }
};

} // namespace Korvel::App
