#include "ConverterFactory.h"

#include "FailureMessages.h"
#include "Interruption.h"
#include "Journal.h"
#include "JournalingFileSystem.h"
#include "KeepingFileSystem.h"
#include "KeepingPdfProvider.h"
#include "LocalFileSystem.h"
#include "PageFanOut.h"
#include "PlannedFileSystem.h"
#include "RunOptions.h"
#include "SessionFolder.h"
#include "TempFileWrapper.h"
#include "UnencryptDocWrapper.h"
#include "UuidFileNameGenerator.h"
#include "WorkerConverter.h"
#include "WorkerPdfProvider.h"

#include <algorithm>

#include <QThread>

namespace Korvel::App {

using PDF::Converter::AbstractConverter;
using PDF::Converter::PageFanOut;
using PDF::Converter::TempFileWrapper;
using PDF::Converter::UnencryptDocWrapper;
using PDF::Converter::WorkerConverter;

namespace {

std::shared_ptr<PDF::SessionFolder> MakeSessionFolder(const std::string& parent)
{
    std::string error;
    std::shared_ptr<PDF::SessionFolder> session = PDF::SessionFolder::Create(parent, error);
    if (!session)
        throw Failure(ExitCode::Output, "no-temporary-folder",
                      "cannot make a folder for temporary files in " + parent + ": " + error +
                          "; choose another with --temp-dir");
    return session;
}

PDF::WorkerSettings ToSettings(const RunOptions& options, const std::string& folder)
{
    PDF::WorkerSettings settings;
    settings.folder = QString::fromStdString(folder);
    if (options.timeout > 0)
        settings.deadline =
            std::chrono::milliseconds(std::chrono::milliseconds::rep(options.timeout * 1000));
    if (options.memoryLimit > 0)
        settings.memoryLimit = options.memoryLimit;
    return settings;
}

} // namespace

ConverterFactory::ConverterFactory(const RunOptions& options, OnExists onExists,
                                   Interruption& interruption, Journal* journal)
    : jobs(std::size_t(std::max(options.jobs > 0 ? options.jobs : QThread::idealThreadCount(), 1))),
      interruption(interruption),
      journal(journal),
      names(std::make_shared<PDF::UuidFileNameGenerator>()),
      session(MakeSessionFolder(options.tempFolder)),
      workerSettings(ToSettings(options, session->Path())),
      fileSystem(std::make_shared<PDF::LocalFileSystem>(session)),
      resultFileSystem(fileSystem),
      provider(std::make_shared<PDF::WorkerPdfProvider>(workerSettings)),
      copyProvider(provider),
      workers(std::make_shared<PDF::WorkerPool>(workerSettings, int(jobs)))
{
    PutResultsWherePlanned(onExists);
    if (options.keepsTemporaries)
        KeepTemporaries();
    interruption.OnSignal([this, signals = 0]() mutable {
        // The provider is told at once, since the main thread may be waiting for its answer.
        provider->Shutdown();
        QMetaObject::invokeMethod(&mainThread, [this, again = ++signals > 1] { EndWork(again); });
    });
}

void ConverterFactory::PutResultsWherePlanned(OnExists onExists)
{
    if (onExists == OnExists::Number && !journal)
        return; // TempFileWrapper finds names that are free
    const auto replaces = [onExists, journal = journal](const ioPath& path) {
        return onExists == OnExists::Overwrite ||
               (journal && journal->HasPlaced(QString::fromStdString(path.utf8string())));
    };
    resultFileSystem = std::make_shared<PlannedFileSystem>(resultFileSystem, replaces);
    if (journal)
        resultFileSystem = std::make_shared<JournalingFileSystem>(resultFileSystem, *journal);
}

void ConverterFactory::PrepareWorkers(bool willConvert)
{
    provider->Prepare();
    if (willConvert)
        workers->Prepare();
}

void ConverterFactory::KeepTemporaries()
{
    if (!session->Keep())
        throw Failure(ExitCode::Output, "no-temporary-folder",
                      "cannot keep the temporary files in " + session->Path());
    resultFileSystem = std::make_shared<KeepingFileSystem>(resultFileSystem);
    copyProvider = std::make_shared<KeepingPdfProvider>(provider);
}

void ConverterFactory::EndWork(bool atOnce)
{
    const auto working = fanOuts;
    for (const QPointer<PageFanOut>& fanOut : working) {
        if (fanOut && atOnce)
            fanOut->CancelConvertation();
        else if (fanOut)
            fanOut->StopAfterRunningPages();
    }
}

ConverterFactory::~ConverterFactory()
{
    interruption.OnSignal({});
}

const std::string& ConverterFactory::TempFolder() const
{
    return session->Path();
}

std::string ConverterFactory::MakePrivateFolder()
{
    std::string path = TempFolder() + '/' + names->GenerateFileName();
    if (!fileSystem->CreateFolder(ioPath(path)))
        throw Failure(ExitCode::Output, "no-temporary-folder",
                      "cannot make a folder for temporary files in " + TempFolder() +
                          "; choose another with --temp-dir");
    return path;
}

void ConverterFactory::CheckForSignal() const
{
    interruption.Check();
}

std::shared_ptr<AbstractConverter> ConverterFactory::MakeChain(std::size_t pages)
{
    std::vector<std::shared_ptr<AbstractConverter>> chains;
    while (chains.size() < std::min(pages, jobs))
        chains.push_back(std::make_shared<TempFileWrapper>(
            names, std::make_shared<WorkerConverter>(workers), resultFileSystem));
    const auto fanOut = std::make_shared<PageFanOut>(chains);
    fanOuts.erase(std::remove(fanOuts.begin(), fanOuts.end(), nullptr), fanOuts.end());
    fanOuts.emplace_back(fanOut.get());
    return std::make_shared<UnencryptDocWrapper>(names, fanOut, copyProvider, fileSystem);
}

} // namespace Korvel::App
