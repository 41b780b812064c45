#include "PreparedDocument.h"

#include "ConversionFailure.h"
#include "ConversionServices.h"
#include "LocalFileSystem.h"
#include "PreparedCopy.h"
#include "ToErrorType.h"
#include "ToText.h"
#include "WorkerPdfProvider.h"
#include "WorkerProtocol.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include <QFileInfo>
#include <QScopeGuard>

#include <unistd.h>

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
                                               const WorkerPdfProvider& provider)
{
    std::vector<ConversionResult::Note> warnings;
    if (info.repaired)
        warnings.push_back(
            {ConversionResult::Warning::Repaired,
             document + QStringLiteral(" is damaged and was repaired; look the result over")});
    QStringList missing = provider.MissingMeasures();
    const QStringList filters{WorkerProtocol::Measure::fileAccess,
                              WorkerProtocol::Measure::systemCalls};
    missing.erase(std::remove_if(missing.begin(), missing.end(),
                                 [&](const QString& one) { return !filters.contains(one); }),
                  missing.end());
    if (!missing.isEmpty())
        warnings.push_back({ConversionResult::Warning::LessConfined,
                            document +
                                QStringLiteral(" was opened without what confines workers: "
                                               "this machine lacks ") +
                                missing.join(QStringLiteral(", "))});
    return warnings;
}

void PrepareFolder(const std::string& folder, ConversionServices& services)
{
    const auto complain = [&folder](const std::string& what, const std::string& why) {
        throw ConversionFailure(AbstractConverter::CannotWrite,
                                QString::fromStdString(what + folder + ": " + why));
    };
    std::error_code problem;
    std::filesystem::create_directories(folder, problem);
    if (problem)
        complain("cannot make the folder ", problem.message());
    if (::access(folder.c_str(), W_OK | X_OK) != 0)
        complain("cannot write into the folder ", std::strerror(errno));
    services.SweepTarget(folder);
}

void PrepareFolders(const ResultPlan& plan, ConversionServices& services)
{
    std::string prepared;
    for (const ResultPlan::Result& result : plan.Results()) {
        const std::string folder = QFileInfo(result.path).path().toStdString();
        if (folder != prepared)
            PrepareFolder(folder, services);
        prepared = folder;
    }
}

std::shared_ptr<const TemporaryFile> MakeCopy(const QString& document, const DocumentHandle& handle,
                                              ConversionServices& services)
{
    auto copy = std::make_shared<const TemporaryFile>(ioPath(services.FreshPath() + ".pdf"));
    if (!services.provider->SaveDocument(handle, copy->path).get())
        throw WhyNotSaved(document, *services.provider);
    return copy;
}

} // namespace

PreparedDocument Prepare(const ConversionRequest& request, const std::string& password,
                         ConversionServices& services)
{
    WorkerPdfProvider& provider = *services.provider;
    PreparedDocument prepared;
    const std::string path = request.document.toStdString();
    prepared.state = SourceState(path);
    const DocumentHandle handle = provider.OpenDocument(ioPath(path), password).get();
    const auto closing = qScopeGuard([&] { provider.CloseDocument(handle).wait(); });
    const std::optional<DocumentInfo> info = provider.Describe(handle);
    if (!info)
        throw WhyNotOpened(request.document, provider);
    prepared.warnings = WarningsOf(request.document, *info, provider);
    prepared.plan = ResultPlan(request, info->pages, *services.files);
    prepared.info = *info;
    if (!request.isInMemory)
        PrepareFolders(prepared.plan, services);
    if (info->encrypted || info->repaired)
        prepared.copy = MakeCopy(request.document, handle, services);
    return prepared;
}

} // namespace Korvel::PDF::Converter
