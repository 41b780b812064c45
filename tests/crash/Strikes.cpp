#include "Strikes.h"

#include <cerrno>
#include <cstring>
#include <map>

namespace Korvel::Failing {

std::string Describe(const Strike& strike)
{
    return "call " + std::to_string(strike.call) + ", occurrence " +
           std::to_string(strike.occurrence) + ": " +
           (strike.error == Kill ? "killed" : std::strerror(strike.error));
}

const std::vector<int>& Errors()
{
    static const std::vector<int> errors{EINTR, EIO,   ENOSPC, EDQUOT, EACCES,
                                         EROFS, EXDEV, EINVAL, ENOSYS, EMFILE};
    return errors;
}

namespace {

/** How often each call was made. */
std::map<long, int> Count(const std::vector<long>& calls)
{
    std::map<long, int> occurrences;
    for (const long call : calls)
        ++occurrences[call];
    return occurrences;
}

} // namespace

std::vector<Strike> StrikesAt(const std::vector<long>& calls)
{
    std::vector<Strike> strikes;
    for (const auto& [call, count] : Count(calls)) {
        for (int occurrence = 0; occurrence <= count; ++occurrence) {
            for (const int error : Errors()) {
                // No signal interrupts a call for ever, and whoever repeats it would do so.
                if (occurrence > 0 || error != EINTR)
                    strikes.push_back({call, occurrence, error});
            }
        }
    }
    return strikes;
}

std::vector<Strike> KillsAt(const std::vector<long>& calls)
{
    std::vector<Strike> kills;
    for (const auto& [call, count] : Count(calls)) {
        for (int occurrence = 1; occurrence <= count; ++occurrence)
            kills.push_back({call, occurrence, Kill});
    }
    return kills;
}

int Striker::operator()(const Call& call)
{
    if (call.number != strike.call)
        return Go;
    ++seen;
    if (strike.occurrence != 0 && strike.occurrence != seen)
        return Go;
    struck = Describe(call);
    return strike.error;
}

} // namespace Korvel::Failing
