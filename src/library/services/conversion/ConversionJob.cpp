#include "ConversionJob.h"

#include "ConversionFailure.h"
#include "ConversionServices.h"
#include "CopiedDocuments.h"
#include "LocalFileSystem.h"
#include "OpenedDocument.h"
#include "PreparedCopy.h"
#include "ToText.h"

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
    ChainListener& self = *this;
    chain = std::make_unique<DocumentChain>(*services, services->files,
                                            prepared.isKept ? nullptr : prepared.copy,
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

void ConversionJob::TellSuccess(const ConversionOutcome& outcome)
{
    for (const ConversionResult::Note& note : outcome.notes)
        Warn(note.warning, note.text + QStringLiteral(" of ") + request.document);
    if (progress < 1)
        Progressed(1); // pages that are left away have told of none
}

bool ConversionJob::CancelChain()
{
    return chain && chain->Cancel();
}

/** A copy is of the document as it was opened, whatever has become of that. */
QString ConversionJob::ChangedSource() const
{
    const bool isOfNoMatter = chain->IsCancelled() || prepared.copy;
    const bool isUnchanged =
        isOfNoMatter || SourceState(request.document.toStdString()) == prepared.state;
    return isUnchanged ? QString() : request.document;
}

void ConversionJob::Ended(const ConversionOutcome& outcome)
{
    if (outcome.error)
        Fail(*outcome.error, WhyFailed(outcome));
    else
        TellSuccess(outcome);
    const std::function<void()> tell = std::move(done);
    tell(); // which may destroy this
}

QString ConversionJob::WhyFailed(const ConversionOutcome& outcome) const
{
    if (outcome.page)
        return result.failures.front().text;
    if (outcome.missing)
        return request.document + QStringLiteral(" is not whole: ") + outcome.missing->whyRefused;
    const QString& why = outcome.whyNotStarted.isEmpty() ? outcome.why : outcome.whyNotStarted;
    const QString text = request.document + QLatin1Char(' ') + ToText(*outcome.error);
    return why.isEmpty() ? text : text + QStringLiteral(": ") + why;
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
