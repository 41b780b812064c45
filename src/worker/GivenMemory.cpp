#include "GivenMemory.h"

#include "RequestError.h"
#include "SendDescriptors.h"

#include <utility>

namespace Korvel::Worker {

PDF::FileDescriptor TakeMemory(int channel, qint64 request)
{
    while (auto message = ReceiveDescriptors(channel)) {
        if (message->number == request && message->descriptors.size() == 1)
            return std::move(message->descriptors.front());
    }
    throw RequestError(Reason::CannotWrite, "no memory was given for the picture");
}

} // namespace Korvel::Worker
