#include "Tally.h"

#include <algorithm>

namespace Korvel::App {

std::string Tally::Summary() const
{
    std::string summary =
        std::to_string(converted) + " of " + std::to_string(inputs) + " documents converted";
    if (convertedBefore > 0)
        summary += ", " + std::to_string(convertedBefore) + " were before";
    if (skipped > 0)
        summary += ", " + std::to_string(skipped) + " skipped";
    if (!failures.empty())
        summary += ", " + std::to_string(failures.size()) + " failed";
    if (failedBefore > 0)
        summary += ", " + std::to_string(failedBefore) +
                   " had failed before (--retry-failed takes them again)";
    return summary;
}

ExitCode Tally::CodeOfFailures() const
{
    const auto alike = std::count(failures.begin(), failures.end(), failures.front());
    return alike == std::ptrdiff_t(inputs) ? failures.front() : ExitCode::PartlyFailed;
}

} // namespace Korvel::App
