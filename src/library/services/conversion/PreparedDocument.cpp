#include "PreparedDocument.h"

#include "ConversionFailure.h"
#include "ConversionServices.h"
#include "DocumentChain.h"
#include "LocalFileSystem.h"
#include "OpenedDocument.h"
#include "ToErrorType.h"
#include "ToText.h"
#include "WorkerPdfProvider.h"

#include <future>
#include <utility>

#include <QScopeGuard>

namespace Korvel::PDF::Converter {

namespace {

ConversionFailure WhyNotOpened(const QString& document, const WorkerPdfProvider& provider)
{
    const OpenFailure why = provider.WhyOpenFailed(ioPath(document.toStdString()));
    QString text = document + QLatin1Char(' ') + ToText(why);
    if (why == OpenFailure::NotStarted || why == OpenFailure::Unconfined)
        text += QStringLiteral(": ") + provider.WhyNotStarted();
    return {ToErrorType(why), text};
}

ConversionFailure WhyNotSaved(const QString& document, const WorkerPdfProvider& provider)
{
    const SaveFailure why = provider.WhySaveFailed(ioPath(document.toStdString()));
    const QString text = why == SaveFailure::CannotWrite
                             ? QStringLiteral("has no room in the folder for temporary files")
                             : ToText(ToErrorType(why));
    return {ToErrorType(why), document + QLatin1Char(' ') + text};
}

std::vector<ConversionResult::Note> WarningsOf(const QString& document, const DocumentInfo& info,
                                               const ConversionServices& services)
{
    std::vector<ConversionResult::Note> warnings;
    if (info.repaired)
        warnings.push_back(
            {ConversionResult::Warning::Repaired,
             document + QStringLiteral(" is damaged and was repaired; look the result over")});
    if (const QStringList missing = services.MissingFilters(); !missing.isEmpty())
        warnings.push_back({ConversionResult::Warning::LessConfined,
                            document +
                                QStringLiteral(" was opened without what confines workers: "
                                               "this machine lacks ") +
                                missing.join(QStringLiteral(", "))});
    return warnings;
}

void Plan(PreparedDocument& prepared, const ConversionRequest& request,
          ConversionServices& services)
{
    if (request.opensOnly)
        return;
    prepared.plan = ResultPlan(request, prepared.info.pages, *services.files);
    if (!request.isInMemory)
        services.PrepareFolders(prepared.plan.Results());
}

PreparedDocument PrepareOpened(const ConversionRequest& request, ConversionServices& services)
{
    const OpenedDocument& opened = *request.opened;
    if (opened.path != request.document)
        throw ConversionFailure(AbstractConverter::InvalidOption,
                                request.document + QStringLiteral(" is not what was opened: ") +
                                    opened.path);
    PreparedDocument prepared;
    prepared.info = opened.info;
    prepared.state = opened.state;
    prepared.copy = opened.copy;
    prepared.isKept = true;
    Plan(prepared, request, services);
    return prepared;
}

} // namespace

PreparedDocument Prepare(const ConversionRequest& request, const std::string& password,
                         ConversionServices& services, const std::atomic<bool>& isGivenUp)
{
    if (request.opened)
        return PrepareOpened(request, services);
    WorkerPdfProvider& provider = *services.provider;
    PreparedDocument prepared;
    const std::string path = request.document.toStdString();
    prepared.state = SourceState(path);
    std::future<DocumentHandle> opened = provider.OpenDocument(ioPath(path), password);
    if (isGivenUp) // before the provider knew of it
        provider.GiveUp(ioPath(path));
    const DocumentHandle handle = opened.get();
    const auto closing = qScopeGuard([&] { provider.CloseDocument(handle).wait(); });
    const std::optional<DocumentInfo> info = provider.Describe(handle);
    if (!info)
        throw WhyNotOpened(request.document, provider);
    prepared.warnings = WarningsOf(request.document, *info, services);
    prepared.info = *info;
    Plan(prepared, request, services);
    if (NeedsCopy(*info)) {
        prepared.copy = services.SaveCopy(handle);
        if (!prepared.copy)
            throw WhyNotSaved(request.document, provider);
    }
    return prepared;
}

} // namespace Korvel::PDF::Converter
