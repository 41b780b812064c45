#include "ConversionJob.h"

#include "ConversionFailure.h"
#include "ConversionServices.h"
#include "CopiedDocuments.h"
#include "LocalFileSystem.h"
#include "OpenedDocument.h"
#include "PageNumbers.h"
#include "PreparedCopy.h"
#include "ToText.h"
#include "WorkerPool.h"

#include <utility>

namespace Korvel::PDF::Converter {

ConversionJob::ConversionJob(ConversionRequest request,
                             std::shared_ptr<ConversionListener> listener)
    : request(std::move(request)), listener(std::move(listener))
{
}

ConversionJob::~ConversionJob() = default;

void ConversionJob::TakeUp(PreparedDocument document)
{
    prepared = std::move(document);
    result.document = prepared.info;
    listener->Opened(prepared.info);
    for (const ConversionResult::Note& note : prepared.warnings)
        Warn(note.warning, note.text);
    if (request.opensOnly)
        result.opened = std::make_shared<const OpenedDocument>(
            OpenedDocument{request.document, prepared.info, prepared.state, prepared.copy});
}

void ConversionJob::Convert(std::shared_ptr<ConversionServices> shared,
                            std::function<void()> whenDone)
{
    services = std::move(shared);
    done = std::move(whenDone);
    if (prepared.copy && prepared.isKept)
        CopiedDocuments::Remember(prepared.copy->path.utf8string(), request.document.toStdString());
    const auto copies =
        std::make_shared<PreparedCopy>(prepared.isKept ? nullptr : prepared.copy, services->files);
    ChainListener& self = *this;
    chain = std::make_unique<DocumentChain>(*services, services->files, copies,
                                            prepared.plan.Results(), self);
    if (!chain->Start(MakeTask()))
        throw ConversionFailure(AbstractConverter::CannotWrite,
                                request.document + QStringLiteral(" could not be copied into the "
                                                                  "folder for temporary files"));
}

DocumentChain::Task ConversionJob::MakeTask() const
{
    DocumentChain::Task task;
    task.type = prepared.plan.Format();
    task.source = request.document;
    if (prepared.copy && prepared.isKept)
        task.source = QString::fromStdString(prepared.copy->path.utf8string());
    else if (prepared.copy)
        task.options["need_export"] = true;
    request.pictures.PutInto(task);
    request.text.PutInto(task);
    if (!prepared.plan.JoinedPages().empty())
        task.options["pages"] = prepared.plan.JoinedPages();
    return task;
}

void ConversionJob::PageFailed(const PageFanOut::PageFailure& failure)
{
    QString text = About(failure.page) + QLatin1Char(' ') + ToText(failure.error);
    if (!failure.why.isEmpty())
        text += QStringLiteral(": ") + failure.why;
    result.failures.push_back({failure.page, failure.error, text});
    listener->PageFailed(result.failures.back());
    if (request.endsAtBadPage)
        chain->StopAtBadPage();
}

bool ConversionJob::PlanAnew(PlannedResult& planned)
{
    prepared.plan.PlanAnew(planned, *services->files);
    return true;
}

void ConversionJob::Placed(const PlannedResult& made)
{
    listener->PageFinished(ToPage(made));
}

void ConversionJob::Refused(const PlannedResult&, Refusal, const QString& text)
{
    whyRefused = text;
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

/** Warns of pages whose text is missing, or is none, once for all of them. */
void ConversionJob::TellTextReport()
{
    const TextReport& report = chain->Report();
    const QString of = QStringLiteral(" of ") + request.document;
    if (!report.withoutText.empty())
        Warn(ConversionResult::Warning::NoText,
             QStringLiteral("no text is drawn on ") + NamedPages(report.withoutText) + of);
    if (!report.unmapped.empty())
        Warn(ConversionResult::Warning::UnmappedText,
             QStringLiteral("fonts do not say which characters they draw on ") +
                 NamedPages(report.unmapped) + of);
}

void ConversionJob::TellSuccess()
{
    TellTextReport();
    if (progress < 1)
        Progressed(1); // pages that are left away have told of none
}

bool ConversionJob::CancelChain()
{
    isCancelled = true;
    return chain && chain->Cancel();
}

void ConversionJob::Ended()
{
    try {
        RequireSource();
        if (chain->Error())
            ChainFailed(*chain->Error());
        else
            RequireResults();
    } catch (const ConversionFailure& failure) {
        Fail(failure.error, failure.text);
    }
    if (!result.error)
        TellSuccess();
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
    const QString why = error == AbstractConverter::Cancelled ? QString() : chain->Why();
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
    for (const PlannedResult& one : prepared.plan.Results()) {
        if (!one.isPlaced && !chain->HasFailed(one.page))
            throw ConversionFailure(AbstractConverter::CannotWrite,
                                    request.document + QStringLiteral(" is not whole: ") +
                                        whyRefused);
    }
}

void ConversionJob::Fail(AbstractConverter::ErrorType error, const QString& text)
{
    result.error = error;
    result.errorText = text;
}

ConversionResult ConversionJob::TakeResult()
{
    for (const PlannedResult& one : prepared.plan.Results()) {
        if (one.isPlaced)
            result.pages.push_back(ToPage(one));
    }
    return std::move(result);
}

ConversionResult::Page ConversionJob::ToPage(const PlannedResult& made)
{
    return {made.page, made.isInMemory ? QString() : made.path, made.bytes, made.picture};
}

QString ConversionJob::About(int page) const
{
    return page == 0 ? request.document
                     : QStringLiteral("page %1 of %2").arg(page).arg(request.document);
}

} // namespace Korvel::PDF::Converter
