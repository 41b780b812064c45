#pragma once

#include <stdexcept>
#include <string>

namespace Korvel::Worker {

/** A request that cannot be fulfilled: the reason of the answer, and a message for a log. */
class RequestError : public std::runtime_error
{
public:
    RequestError(const char* reason, const std::string& message)
        : std::runtime_error(message), reason(reason)
    {
    }

    const char* const reason;
};

} // namespace Korvel::Worker
