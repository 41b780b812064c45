#include "Conversions.h"

#include "Console.h"
#include "ConverterFactory.h"
#include "Failure.h"
#include "Interruption.h"
#include "Journal.h"
#include "Options.h"

#include <utility>

namespace Korvel::App {

Conversions::Conversions(const Run& run, Planner& planner, std::vector<PlannedDocument>& documents,
                         Receiver receiver)
    : run(run), planner(planner), documents(documents), receiver(std::move(receiver))
{
}

void Conversions::ConvertAll()
{
    std::size_t results = 0;
    for (const PlannedDocument& document : documents)
        results += document.results.size();
    run.console.Expect(int(documents.size()), int(results));
    StartDocuments();
    if (!running.empty() && loop.exec() != 0)
        throw Failure(ExitCode::Internal, "internal",
                      "the work was broken off by an unexpected error (-v 1 tells more)");
    if (started < documents.size())
        run.interruption.Check();
}

bool Conversions::IsToStop() const
{
    return run.interruption.Signal() != 0 || (run.options.run.failsFast && hasAnyFailed) ||
           !run.journal.IsSound();
}

void Conversions::StartDocuments()
{
    while (running.size() < run.factory.Jobs() && started < documents.size() && !IsToStop()) {
        const std::size_t index = started++;
        auto conversion = std::make_unique<Conversion>(run, planner, documents[index]);
        Conversion& starting = *running.emplace(index, std::move(conversion)).first->second;
        starting.Start(
            [this, index](const std::exception_ptr& failure) { DocumentEnded(index, failure); });
    }
    if (running.empty())
        loop.quit();
}

void Conversions::DocumentEnded(std::size_t index, const std::exception_ptr& failure)
{
    const auto over = running.extract(index);
    ended[index] = failure;
    hasAnyFailed = hasAnyFailed || failure;
    while (const auto next = ended.extract(told)) {
        const bool isWell = receiver(documents[told++], next.mapped());
        hasAnyFailed = hasAnyFailed || !isWell;
    }
    StartDocuments();
}

} // namespace Korvel::App
