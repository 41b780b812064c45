#include "PlannedDocument.h"

namespace Korvel::App {

std::vector<Document*> PlannedDocument::All() const
{
    std::vector<Document*> all{document.get()};
    for (const auto& one : further)
        all.push_back(one.get());
    return all;
}

QStringList PlannedDocument::MergedNames() const
{
    QStringList names;
    for (const Document* const one : All())
        names.append(one->Name());
    return whole ? names : QStringList();
}

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
