#include "DocumentChain.h"

#include "ConversionServices.h"
#include "LocalFileSystem.h"
#include "PlacedResults.h"
#include "TempFileWrapper.h"
#include "UnencryptDocWrapper.h"
#include "UuidFileNameGenerator.h"
#include "WorkerConverter.h"
#include "WorkerPool.h"
#include "WorkerProtocol.h"

#include <algorithm>
#include <utility>

namespace Korvel::PDF::Converter {

DocumentChain::DocumentChain(const ConversionServices& services, std::shared_ptr<IFileSystem> files,
                             const std::shared_ptr<IPDFProvider>& copies,
                             std::vector<PlannedResult>& results, ChainListener& listener)
    : results(results),
      listener(listener),
      placed(std::make_shared<PlacedResults>(std::move(files), results, listener))
{
    const auto makeChain = [names = services.names, pool = services.pool, moved = placed] {
        return std::make_shared<TempFileWrapper>(names, std::make_shared<WorkerConverter>(pool),
                                                 moved);
    };
    const int atOnce = std::min(int(results.size()), services.pool->Processes());
    fanOut = std::make_shared<PageFanOut>(makeChain, atOnce);
    chain = std::make_shared<UnencryptDocWrapper>(services.names, fanOut, copies, services.files);
    Connect();
}

DocumentChain::~DocumentChain() = default;

void DocumentChain::Connect()
{
    AbstractConverter* const sender = chain.get();
    QObject::connect(sender, &AbstractConverter::ConvertationProgress, &context,
                     [this](const QString&, double part) { listener.Progressed(part); });
    QObject::connect(sender, &AbstractConverter::Failed, &context,
                     [this](const QString&, AbstractConverter::ErrorType reason) {
                         error = reason;
                         EndLater();
                     });
    QObject::connect(sender, qOverload<const QString&, QStringList>(&AbstractConverter::Finished),
                     &context, [this] { EndLater(); });
}

/** The chain is in the middle of its work when it tells its end, and destroyed by what follows. */
void DocumentChain::EndLater()
{
    QMetaObject::invokeMethod(
        &context, [&told = listener] { told.Ended(); }, Qt::QueuedConnection);
}

bool DocumentChain::Start(Task task)
{
    AddPages(task);
    AddTellers(task);
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
    task.options["missing_page"] = WorkerConverter::OnPageFailed(
        [this](int page, AbstractConverter::ErrorType reason, const QString& told) {
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
        std::function<void(const QString&)>([this](const QString& told) { why = told; });
}

void DocumentChain::PageFailed(const PageFanOut::PageFailure& failure)
{
    failures.push_back(failure);
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
    return std::any_of(failures.begin(), failures.end(),
                       [page](const auto& failure) { return failure.page == page; });
}

bool DocumentChain::Cancel()
{
    return chain->CancelConvertation();
}

void DocumentChain::StopAfterRunningPages()
{
    fanOut->StopAfterRunningPages();
}

void DocumentChain::StopAtBadPage()
{
    placed->RefuseWhole();
    StopAfterRunningPages();
}

} // namespace Korvel::PDF::Converter
