#pragma once

#include "WorkerProtocol.h"

#include <stdexcept>
#include <string>

namespace Korvel::Worker {

using WorkerProtocol::Reason;

/** A request that cannot be fulfilled: the reason of the answer, and a message for a log. */
class RequestError : public std::runtime_error
{
public:
    RequestError(Reason reason, const std::string& message)
        : std::runtime_error(message), reason(reason)
    {
    }

    const Reason reason;
};

} // namespace Korvel::Worker
