#include "DocumentChain.h"

#include "ConversionServices.h"
#include "LocalFileSystem.h"
#include "PageNumbers.h"
#include "PlacedResults.h"
#include "PreparedCopy.h"
#include "TempFileWrapper.h"
#include "UnencryptDocWrapper.h"
#include "UuidFileNameGenerator.h"
#include "WorkerConverter.h"
#include "WorkerPool.h"
#include "WorkerProtocol.h"

#include <algorithm>
#include <utility>

namespace Korvel::PDF::Converter {

namespace {

/** Tells of pages whose text is missing, or is none, once for all of them. */
std::vector<ConversionResult::Note> NotesOf(const TextReport& report)
{
    std::vector<ConversionResult::Note> notes;
    if (!report.withoutText.empty())
        notes.push_back({ConversionResult::Warning::NoText,
                         QStringLiteral("no text is drawn on ") + NamedPages(report.withoutText)});
    if (!report.unmapped.empty())
        notes.push_back({ConversionResult::Warning::UnmappedText,
                         QStringLiteral("fonts do not say which characters they draw on ") +
                             NamedPages(report.unmapped)});
    return notes;
}

} // namespace

DocumentChain::DocumentChain(const ConversionServices& services, std::shared_ptr<IFileSystem> files,
                             const std::shared_ptr<const TemporaryFile>& copy,
                             std::vector<PlannedResult>& results, ChainListener& listener)
    : results(results),
      listener(listener),
      pool(services.pool),
      placed(std::make_shared<PlacedResults>(std::move(files), results, listener)),
      isCopied(copy != nullptr)
{
    const auto makeChain = [names = services.names, pool = pool, moved = placed] {
        return std::make_shared<TempFileWrapper>(names, std::make_shared<WorkerConverter>(pool),
                                                 moved);
    };
    const int atOnce = std::min(int(results.size()), pool->Processes());
    fanOut = std::make_shared<PageFanOut>(makeChain, atOnce);
    const auto copies = std::make_shared<PreparedCopy>(copy);
    chain = std::make_shared<UnencryptDocWrapper>(copies, fanOut, copies, services.files);
    Connect();
}

DocumentChain::~DocumentChain() = default;

void DocumentChain::Connect()
{
    AbstractConverter* const sender = chain.get();
    QObject::connect(sender, &AbstractConverter::ConvertationProgress, &context,
                     [this](const QString&, double part) { listener.Progressed(part); });
    QObject::connect(sender, &AbstractConverter::Failed, &context,
                     [this](const QString&, ErrorType reason) {
                         outcome.error = reason;
                         EndLater();
                     });
    QObject::connect(sender, qOverload<const QString&, QStringList>(&AbstractConverter::Finished),
                     &context, [this] { EndLater(); });
}

/** The chain is in the middle of its work when it tells its end, and destroyed by what follows. */
void DocumentChain::EndLater()
{
    const auto end = [this] {
        Judge();
        const ConversionOutcome told = std::move(outcome);
        listener.Ended(told);
    };
    QMetaObject::invokeMethod(&context, end, Qt::QueuedConnection);
}

void DocumentChain::Judge()
{
    outcome.notes = NotesOf(report);
    outcome.changed = listener.ChangedSource();
    if (!outcome.changed.isNull())
        outcome.error = ErrorType::SourceChanged;
    else if (outcome.error)
        FindCause();
    else if (outcome.missing = FirstMissing(); outcome.missing)
        outcome.error = ErrorType::CannotWrite;
    if (!outcome.changed.isNull() || outcome.error == ErrorType::Cancelled)
        outcome.why.clear();
}

/** A chain fails with its first bad page where no page is left, or none was wanted after that. */
void DocumentChain::FindCause()
{
    const auto& failures = outcome.failures;
    const bool isOfPage =
        !failures.empty() && (endsAtBadPage || failures.front().error == outcome.error);
    if (isOfPage && !isCancelled) {
        outcome.page = failures.front();
        outcome.error = outcome.page->error;
    } else if (outcome.error == ErrorType::Unconfined || outcome.error == ErrorType::Unknown) {
        outcome.whyNotStarted = pool->WhyNotStarted();
    }
}

/** The first result that was made, and could not be put in its place; null where each could. */
const PlannedResult* DocumentChain::FirstMissing() const
{
    for (const PlannedResult& result : results) {
        if (!result.isPlaced && !result.path.isEmpty() && !HasFailed(result.page))
            return &result;
    }
    return nullptr;
}

bool DocumentChain::Start(Task task)
{
    AddPages(task);
    AddTellers(task);
    if (isCopied)
        task.options["need_export"] = true;
    return chain->ConvertFile(task);
}

void DocumentChain::AddPages(Task& task) const
{
    std::vector<PageFanOut::PageTask> pages;
    for (const PlannedResult& result : results)
        pages.push_back({result.page, result.path});
    task.destination = results.front().path;
    task.options["page_tasks"] = pages;
}

void DocumentChain::AddTellers(Task& task)
{
    task.options["page_failed"] = PageFanOut::OnPageFailure(
        [this](const PageFanOut::PageFailure& failure) { PageFailed(failure); });
    task.options["missing_page"] =
        WorkerConverter::OnPageFailed([this](int page, ErrorType reason, const QString& told) {
            PageFailed({page, reason, told});
        });
    if (task.type == QLatin1String(WorkerProtocol::Format::pixels))
        task.options["picture_made"] = WorkerConverter::OnPicture(
            [this](int page, const PagePicture& picture) { placed->Keep(page, picture); });
    else if (results.front().isInMemory && results.front().page > 0)
        task.options["bytes_made"] = WorkerConverter::OnBytes(
            [this](int page, const QByteArray& bytes) { placed->Keep(page, bytes); });
    task.options["text_report"] =
        OnTextReport([this](const TextReport& ofResult) { Gather(ofResult); });
    task.options["why_failed"] =
        std::function<void(const QString&)>([this](const QString& told) { outcome.why = told; });
}

void DocumentChain::PageFailed(const PageFanOut::PageFailure& failure)
{
    outcome.failures.push_back(failure);
    listener.PageFailed(failure);
}

void DocumentChain::Gather(const TextReport& ofResult)
{
    const auto add = [](std::vector<int>& pages, const std::vector<int>& further) {
        pages.insert(pages.end(), further.begin(), further.end());
    };
    add(report.withoutText, ofResult.withoutText);
    add(report.unmapped, ofResult.unmapped);
}

bool DocumentChain::HasFailed(int page) const
{
    return std::any_of(outcome.failures.begin(), outcome.failures.end(),
                       [page](const auto& failure) { return failure.page == page; });
}

bool DocumentChain::Cancel()
{
    isCancelled = true;
    return chain->CancelConvertation();
}

void DocumentChain::StopAfterRunningPages()
{
    fanOut->StopAfterRunningPages();
}

void DocumentChain::StopAtBadPage()
{
    endsAtBadPage = true;
    placed->RefuseWhole();
    StopAfterRunningPages();
}

} // namespace Korvel::PDF::Converter
