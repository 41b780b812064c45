#include "ConversionServices.h"

#include "ConversionFailure.h"
#include "LocalFileSystem.h"
#include "PreparedCopy.h"
#include "SessionFolder.h"
#include "UuidFileNameGenerator.h"
#include "WorkerPdfProvider.h"
#include "WorkerPool.h"
#include "WorkerProtocol.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include <QFileInfo>
#include <QThread>

#include <unistd.h>

namespace Korvel::PDF::Converter {

namespace {

WorkerSettings Confined(WorkerSettings worker, const SessionFolder& session)
{
    worker.folder = QString::fromStdString(session.Path());
    return worker;
}

} // namespace

ConversionServices::ConversionServices(std::shared_ptr<const SessionFolder> folder,
                                       WorkerSettings worker, int processes)
    : session(std::move(folder)),
      files(std::make_shared<LocalFileSystem>(session)),
      names(std::make_shared<UuidFileNameGenerator>()),
      server(std::make_shared<WorkerServer>(Confined(std::move(worker), *session))),
      provider(std::make_shared<WorkerPdfProvider>(server)),
      pool(std::make_shared<WorkerPool>(server, processes))
{
}

ConversionServices::~ConversionServices() = default;

std::string ConversionServices::FreshPath() const
{
    return session->Path() + '/' + names->GenerateFileName();
}

std::shared_ptr<const TemporaryFile>
ConversionServices::SaveCopy(const DocumentHandle& document) const
{
    auto copy = std::make_shared<const TemporaryFile>(ioPath(FreshPath() + ".pdf"));
    return provider->SaveDocument(document, copy->path).get() ? copy : nullptr;
}

std::set<QString> ConversionServices::PrepareFolders(const std::vector<PlannedResult>& results)
{
    std::set<QString> folders;
    for (const PlannedResult& result : results) {
        const auto folder = folders.insert(QFileInfo(result.path).path());
        if (folder.second)
            PrepareFolder(folder.first->toStdString());
    }
    return folders;
}

void ConversionServices::PrepareFolder(const std::string& folder)
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
    {
        const std::lock_guard lock(mutex);
        if (!swept.insert(folder).second)
            return;
    }
    LocalFileSystem::Sweep(folder);
}

QStringList ConversionServices::MissingFilters() const
{
    QStringList filters{WorkerProtocol::Measure::fileAccess, WorkerProtocol::Measure::systemCalls};
    const QStringList missing = provider->MissingMeasures();
    const auto isThere = [&missing](const QString& filter) {
        return !missing.contains(filter);
    };
    filters.erase(std::remove_if(filters.begin(), filters.end(), isThere), filters.end());
    return filters;
}

int ProcessesFor(int wanted)
{
    return std::max(wanted > 0 ? wanted : QThread::idealThreadCount(), 1);
}

} // namespace Korvel::PDF::Converter
