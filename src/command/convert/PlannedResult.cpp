#include "PlannedResult.h"

namespace Korvel::App {

std::vector<Result> ResultsOf(const std::vector<PlannedResult>& planned)
{
    std::vector<Result> results;
    for (const PlannedResult& result : planned) {
        if (!result.path.isEmpty())
            results.push_back({result.page, result.path});
    }
    return results;
}

} // namespace Korvel::App
