#include "ConversionJob.h"

#include "ConversionFailure.h"
#include "ConversionServices.h"
#include "LocalFileSystem.h"
#include "PlacedResults.h"
#include "PreparedCopy.h"
#include "TempFileWrapper.h"
#include "ToText.h"
#include "UnencryptDocWrapper.h"
#include "UuidFileNameGenerator.h"
#include "WorkerConverter.h"
#include "WorkerPool.h"

#include <algorithm>
#include <utility>

#include <QStringList>

namespace Korvel::PDF::Converter {

namespace {

/** "page 3", or "pages 1, 2, 7". */
QString Listed(const std::vector<int>& pages)
{
    QStringList numbers;
    for (const int page : pages)
        numbers.append(QString::number(page));
    return (pages.size() == 1 ? QStringLiteral("page ") : QStringLiteral("pages ")) +
           numbers.join(QStringLiteral(", "));
}

} // namespace

ConversionJob::ConversionJob(ConversionRequest request,
                             std::shared_ptr<ConversionListener> listener)
    : request(std::move(request)), listener(std::move(listener))
{
}

ConversionJob::~ConversionJob() = default;

void ConversionJob::Convert(PreparedDocument document, std::shared_ptr<ConversionServices> shared,
                            std::function<void()> whenDone)
{
    prepared = std::move(document);
    services = std::move(shared);
    done = std::move(whenDone);
    result.document = prepared.info;
    listener->Opened(prepared.info);
    for (const ConversionResult::Note& note : prepared.warnings)
        Warn(note.warning, note.text);
    if (prepared.plan.Results().empty()) {
        QMetaObject::invokeMethod(
            &context, [this] { Finish(); }, Qt::QueuedConnection);
        return;
    }
    chain = MakeChain();
    ConnectToChain();
    if (!chain->ConvertFile(MakeTask()))
        throw ConversionFailure(AbstractConverter::CannotWrite,
                                request.document + QStringLiteral(" could not be copied into the "
                                                                  "folder for temporary files"));
}

std::shared_ptr<AbstractConverter> ConversionJob::MakeChain()
{
    placed = std::make_shared<PlacedResults>(
        services->files, prepared.plan,
        [this](const ResultPlan::Result& made) { listener->PageFinished(ToPage(made)); });
    const auto makeChain = [shared = services, files = placed] {
        return std::make_shared<TempFileWrapper>(
            shared->names, std::make_shared<WorkerConverter>(shared->pool), files);
    };
    const auto pages = int(prepared.plan.Results().size());
    fanOut = std::make_shared<PageFanOut>(makeChain, std::min(pages, services->pool->Processes()));
    const auto provider = std::make_shared<PreparedCopy>(prepared.copy, services->files);
    return std::make_shared<UnencryptDocWrapper>(services->names, fanOut, provider,
                                                 services->files);
}

/** The chain is in the middle of its work when it tells its end, and destroyed by what follows. */
void ConversionJob::ConnectToChain()
{
    const auto finishLater = [this] {
        QMetaObject::invokeMethod(
            &context, [this] { Finish(); }, Qt::QueuedConnection);
    };
    AbstractConverter* const sender = chain.get();
    QObject::connect(sender, &AbstractConverter::ConvertationProgress, &context,
                     [this](const QString&, double part) { Progressed(part); });
    QObject::connect(sender, &AbstractConverter::Failed, &context,
                     [this, finishLater](const QString&, AbstractConverter::ErrorType error) {
                         chainError = error;
                         finishLater();
                     });
    QObject::connect(sender, qOverload<const QString&, QStringList>(&AbstractConverter::Finished),
                     &context, finishLater);
}

AbstractConverter::Task ConversionJob::MakeTask()
{
    Task task;
    task.type = prepared.plan.Format();
    task.source = request.document;
    task.destination = prepared.plan.Results().front().path;
    if (prepared.copy)
        task.options["need_export"] = true;
    request.pictures.PutInto(task);
    AddPages(task);
    AddTellers(task);
    return task;
}

void ConversionJob::AddPages(Task& task) const
{
    std::vector<PageFanOut::PageTask> pages;
    for (const ResultPlan::Result& one : prepared.plan.Results())
        pages.push_back({one.page, one.path});
    task.options["page_tasks"] = pages;
    if (!prepared.plan.JoinedPages().empty())
        task.options["pages"] = prepared.plan.JoinedPages();
}

void ConversionJob::AddTellers(Task& task)
{
    task.options["page_failed"] =
        PageFanOut::OnPageFailure([this](const PageFanOut::PageFailure& failure) {
            PageFailed(failure.page, failure.error, failure.why);
        });
    task.options["missing_page"] = WorkerConverter::OnPageFailed(
        [this](int page, AbstractConverter::ErrorType error, const QString& told) {
            PageFailed(page, error, told);
        });
    task.options["text_report"] =
        OnTextReport([this](const TextReport& report) { Reported(report); });
    task.options["why_failed"] =
        std::function<void(const QString&)>([this](const QString& told) { why = told; });
}

void ConversionJob::PageFailed(int page, AbstractConverter::ErrorType error, const QString& told)
{
    QString text = About(page) + QLatin1Char(' ') + ToText(error);
    if (!told.isEmpty())
        text += QStringLiteral(": ") + told;
    result.failures.push_back({page, error, text});
    listener->PageFailed(result.failures.back());
    if (!request.endsAtBadPage)
        return;
    placed->RefuseWhole();
    fanOut->StopAfterRunningPages();
}

void ConversionJob::Progressed(double part)
{
    progress = part;
    listener->Progressed(part);
}

void ConversionJob::Warn(ConversionResult::Warning warning, const QString& text)
{
    result.warnings.push_back({warning, text});
    listener->Warned(result.warnings.back());
}

void ConversionJob::Reported(const TextReport& report)
{
    const QString of = QStringLiteral(" of ") + request.document;
    if (!report.withoutText.empty())
        Warn(ConversionResult::Warning::NoText,
             QStringLiteral("no text is drawn on ") + Listed(report.withoutText) + of);
    if (!report.unmapped.empty())
        Warn(ConversionResult::Warning::UnmappedText,
             QStringLiteral("fonts do not say which characters they draw on ") +
                 Listed(report.unmapped) + of);
}

bool ConversionJob::CancelChain()
{
    isCancelled = true;
    return chain && chain->CancelConvertation();
}

void ConversionJob::Finish()
{
    try {
        RequireSource();
        if (chainError)
            ChainFailed(*chainError);
        else
            RequireResults();
        if (!result.error && progress < 1)
            Progressed(1); // pages that are left away have told of none
    } catch (const ConversionFailure& failure) {
        Fail(failure.error, failure.text);
    }
    const std::function<void()> tell = std::move(done);
    tell(); // which may destroy this
}

/** A copy is of the document as it was opened, whatever has become of that. */
void ConversionJob::RequireSource() const
{
    const bool isSame = SourceState(request.document.toStdString()) == prepared.state;
    if (!isCancelled && !prepared.copy && !isSame)
        throw ConversionFailure(AbstractConverter::SourceChanged,
                                request.document + QLatin1Char(' ') +
                                    ToText(AbstractConverter::SourceChanged));
}

void ConversionJob::ChainFailed(AbstractConverter::ErrorType error)
{
    const bool isOfPage = !result.failures.empty() &&
                          (request.endsAtBadPage || result.failures.front().error == error);
    if (isOfPage && !isCancelled) {
        Fail(result.failures.front().error, result.failures.front().text);
        return;
    }
    QString text = request.document + QLatin1Char(' ') + ToText(error);
    if (error == AbstractConverter::Cancelled)
        why.clear();
    const bool isNotStarted =
        error == AbstractConverter::Unconfined || error == AbstractConverter::Unknown;
    const QString whyNotStarted = isNotStarted ? services->pool->WhyNotStarted() : QString();
    if (const QString more = whyNotStarted.isEmpty() ? why : whyNotStarted; !more.isEmpty())
        text += QStringLiteral(": ") + more;
    Fail(error, text);
}

/** Throws where a result was made, and could not be put in its place. */
void ConversionJob::RequireResults() const
{
    for (const ResultPlan::Result& one : prepared.plan.Results()) {
        const auto isOfIt = [&one](const auto& failure) {
            return failure.page == one.page;
        };
        const bool hasFailed = std::any_of(result.failures.begin(), result.failures.end(), isOfIt);
        if (!one.isPlaced && !hasFailed)
            throw ConversionFailure(AbstractConverter::CannotWrite,
                                    request.document + QStringLiteral(" is not whole: ") +
                                        placed->WhyRefused());
    }
}

void ConversionJob::Fail(AbstractConverter::ErrorType error, const QString& text)
{
    result.error = error;
    result.errorText = text;
}

ConversionResult ConversionJob::TakeResult()
{
    for (const ResultPlan::Result& one : prepared.plan.Results()) {
        if (one.isPlaced)
            result.pages.push_back(ToPage(one));
    }
    return std::move(result);
}

ConversionResult::Page ConversionJob::ToPage(const ResultPlan::Result& made) const
{
    const bool isInMemory = prepared.plan.IsInMemory();
    return {made.page, isInMemory ? QString() : made.path, made.bytes};
}

QString ConversionJob::About(int page) const
{
    return page == 0 ? request.document
                     : QStringLiteral("page %1 of %2").arg(page).arg(request.document);
}

} // namespace Korvel::PDF::Converter
