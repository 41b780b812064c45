#include "ConversionServices.h"

#include "ConversionFailure.h"
#include "LocalFileSystem.h"
#include "SessionFolder.h"
#include "UuidFileNameGenerator.h"
#include "WorkerPdfProvider.h"
#include "WorkerPool.h"

#include <algorithm>

#include <QThread>

namespace Korvel::PDF::Converter {

namespace {

std::shared_ptr<const SessionFolder> MakeSession(const PdfConverter::Settings& settings)
{
    const std::string parent = settings.tempFolder.isEmpty() ? SessionFolder::DefaultParent()
                                                             : settings.tempFolder.toStdString();
    std::string error;
    std::shared_ptr<const SessionFolder> session = SessionFolder::Create(parent, error);
    if (!session)
        throw ConversionFailure(
            AbstractConverter::CannotWrite,
            QStringLiteral("there is no folder for temporary files in %1: %2")
                .arg(QString::fromStdString(parent), QString::fromStdString(error)));
    return session;
}

WorkerSettings Confined(WorkerSettings worker, const SessionFolder& session)
{
    worker.folder = QString::fromStdString(session.Path());
    return worker;
}

} // namespace

ConversionServices::ConversionServices(const PdfConverter::Settings& settings)
    : session(MakeSession(settings)),
      files(std::make_shared<LocalFileSystem>(session)),
      names(std::make_shared<UuidFileNameGenerator>()),
      provider(std::make_shared<WorkerPdfProvider>(Confined(settings.worker, *session))),
      pool(std::make_shared<WorkerPool>(Confined(settings.worker, *session), ProcessesOf(settings)))
{
}

ConversionServices::~ConversionServices() = default;

std::string ConversionServices::FreshPath() const
{
    return session->Path() + '/' + names->GenerateFileName();
}

void ConversionServices::SweepTarget(const std::string& folder)
{
    {
        const std::lock_guard lock(mutex);
        if (!swept.insert(folder).second)
            return;
    }
    LocalFileSystem::Sweep(folder);
}

int ProcessesOf(const PdfConverter::Settings& settings)
{
    return std::max(settings.processes > 0 ? settings.processes : QThread::idealThreadCount(), 1);
}

} // namespace Korvel::PDF::Converter
