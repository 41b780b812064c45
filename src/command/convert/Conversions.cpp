#include "Conversions.h"

#include "Console.h"
#include "ConverterFactory.h"
#include "Failure.h"
#include "Interrupted.h"
#include "Interruption.h"
#include "Journal.h"
#include "Options.h"
#include "WorkerPdfProvider.h"

#include <utility>

#include <QScopeGuard>

namespace Korvel::App {

Conversions::Conversions(const Run& run, Planner& planner, PlannedDocuments& documents,
                         Receiver receiver)
    : run(run), planner(planner), documents(documents), receiver(std::move(receiver))
{
}

void Conversions::ConvertAll()
{
    PDF::WorkerPdfProvider& provider = run.factory.PdfProvider();
    const auto listening = qScopeGuard([&provider] { provider.WhenOpened({}); });
    provider.WhenOpened([this] {
        QMetaObject::invokeMethod(
            &loop, [this] { StartDocuments(); }, Qt::QueuedConnection);
    });
    StartDocuments();
    if (!running.empty() && loop.exec() != 0)
        throw Failure(ExitCode::Internal, "internal",
                      "the work was broken off by an unexpected error (-v 1 tells more)");
    if (!documents.IsAtEnd())
        run.interruption.Check();
}

bool Conversions::IsToStop() const
{
    return run.interruption.Signal() != 0 || (run.options.run.failsFast && hasAnyFailed) ||
           !run.journal.IsSound();
}

/** Nothing where there is none, or none yet, or the work is to stop. */
std::optional<PlannedDocument> Conversions::Next()
{
    if (running.size() == run.factory.Jobs() || IsToStop())
        return std::nullopt;
    try {
        return documents.Next(running.empty());
    } catch (const Interrupted&) {
        return std::nullopt; // what is being converted is brought to its end
    }
}

void Conversions::StartDocuments()
{
    while (auto next = Next()) {
        const std::size_t index = started++;
        PlannedDocument& document = open.emplace(index, std::move(*next)).first->second;
        auto conversion = std::make_unique<Conversion>(run, planner, document);
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
        const auto document = open.extract(told++);
        const bool isWell = receiver(document.mapped(), next.mapped());
        hasAnyFailed = hasAnyFailed || !isWell;
    }
    StartDocuments();
}

} // namespace Korvel::App
