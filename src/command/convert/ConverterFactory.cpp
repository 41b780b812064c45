#include "ConverterFactory.h"

#include "Descriptors.h"
#include "Interruption.h"
#include "KeepTemporaries.h"
#include "LocalFileSystem.h"
#include "PageFanOut.h"
#include "ResultFileSystem.h"
#include "RunOptions.h"
#include "SessionFolder.h"
#include "TempFileWrapper.h"
#include "UnencryptDocWrapper.h"
#include "UuidFileNameGenerator.h"
#include "WorkerConverter.h"
#include "WorkerPdfProvider.h"
#include "WorkerProtocol.h"

#include <algorithm>

#include <QThread>

namespace Korvel::App {

using PDF::Converter::AbstractConverter;
using PDF::Converter::PageFanOut;
using PDF::Converter::TempFileWrapper;
using PDF::Converter::UnencryptDocWrapper;
using PDF::Converter::WorkerConverter;

namespace {

std::shared_ptr<PDF::SessionFolder> MakeSessionFolder(const RunOptions& options)
{
    const std::string& parent = options.tempFolder;
    std::string error;
    std::shared_ptr<PDF::SessionFolder> session = PDF::SessionFolder::Create(parent, error);
    if (!session)
        throw Failure(ExitCode::Output, "no-temporary-folder",
                      "cannot make a folder for temporary files in " + parent + ": " + error +
                          "; choose another with --temp-dir");
    if (options.keepsTemporaries && !session->Keep())
        throw Failure(ExitCode::Output, "no-temporary-folder",
                      "cannot keep the temporary files in " + session->Path());
    return session;
}

std::shared_ptr<PDF::IFileSystem> MakeFileSystemOfPages(const RunOptions& options,
                                                        std::shared_ptr<PDF::IFileSystem> results)
{
    if (options.keepsTemporaries)
        return std::make_shared<KeepingFileSystem>(results);
    return results;
}

std::shared_ptr<PDF::IPDFProvider> MakeCopyProvider(const RunOptions& options,
                                                    std::shared_ptr<PDF::IPDFProvider> provider)
{
    if (options.keepsTemporaries)
        return std::make_shared<KeepingPdfProvider>(provider);
    return provider;
}

/** How many documents or pages are converted at once, if as many files may be open. */
std::size_t JobsOf(const RunOptions& options)
{
    constexpr int descriptors = 32;
    constexpr int descriptorsOfJob = 16; // two processes, one of which is being started
    const int jobs = std::max(options.jobs > 0 ? options.jobs : QThread::idealThreadCount(), 1);
    NeedDescriptors(descriptors + jobs * descriptorsOfJob);
    return std::size_t(jobs);
}

PDF::WorkerSettings ToSettings(const RunOptions& options, const std::string& folder)
{
    PDF::WorkerSettings settings;
    settings.folder = QString::fromStdString(folder);
    if (options.timeout > 0)
        settings.deadline =
            std::chrono::milliseconds(std::chrono::milliseconds::rep(options.timeout * 1000));
    settings.engine = options.engine.value_or(settings.engine);
    if (options.memoryLimit > 0)
        settings.memoryLimit = options.memoryLimit;
    settings.largestResult = options.largestResult;
    settings.wantsDetails = options.inspects;
    settings.requiresSandbox = options.requiresSandbox;
    return settings;
}

} // namespace

ConverterFactory::ConverterFactory(const RunOptions& options, OnExists onExists,
                                   Interruption& interruption, const Passwords&, Journal& journal)
    : jobs(JobsOf(options)),
      interruption(interruption),
      names(std::make_shared<PDF::UuidFileNameGenerator>()),
      session(MakeSessionFolder(options)),
      workerSettings(ToSettings(options, session->Path())),
      fileSystem(std::make_shared<PDF::LocalFileSystem>(session)),
      results(std::make_shared<ResultFileSystem>(fileSystem, onExists, journal)),
      fileSystemOfPages(MakeFileSystemOfPages(options, results)),
      provider(std::make_shared<PDF::WorkerPdfProvider>(workerSettings)),
      copyProvider(MakeCopyProvider(options, provider)),
      workers(std::make_shared<PDF::WorkerPool>(workerSettings, int(jobs)))
{
    interruption.OnSignal([this, signals = 0]() mutable {
        // The provider is told at once, since the main thread may be waiting for its answer.
        provider->Shutdown();
        QMetaObject::invokeMethod(&mainThread, [this, again = ++signals > 1] { EndWork(again); });
    });
}

void ConverterFactory::PrepareWorkers(std::size_t documents, Next nextOfWorkers)
{
    provider->Prepare();
    next = nextOfWorkers;
    toOpen = documents;
}

void ConverterFactory::Close(const PDF::DocumentHandle& document, const QString& file,
                             bool needsCopy)
{
    const bool isLast = ++closed == toOpen && next != Next::Open;
    if (!needsCopy && (isLast || next == Next::ConvertMeanwhile)) {
        provider->TakeBack(workers->Adopt(provider->TakeWorker(document), file));
        return;
    }
    provider->CloseDocument(document).wait(); // so that the next one finds its worker free
    if (isLast)
        workers->Prepare();
}

void ConverterFactory::LendWorker()
{
    provider->TakeBack(workers->GiveAway());
}

void ConverterFactory::EndWork(bool atOnce)
{
    if (atOnce && whenEndingAtOnce)
        whenEndingAtOnce();
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

QStringList ConverterFactory::MissingFilters() const
{
    QStringList filters{WorkerProtocol::Measure::fileAccess, WorkerProtocol::Measure::systemCalls};
    const QStringList missing = provider->MissingMeasures();
    const auto isThere = [&missing](const QString& filter) {
        return !missing.contains(filter);
    };
    filters.erase(std::remove_if(filters.begin(), filters.end(), isThere), filters.end());
    return filters;
}

Failure ConverterFactory::WhyNotOpened(const std::string& path) const
{
    const PDF::OpenFailure why = provider->WhyOpenFailed(ioPath(path));
    if (why == PDF::OpenFailure::Unconfined)
        return UnconfinedFailure(provider->WhyNotStarted());
    return why == PDF::OpenFailure::NotStarted ? NotStartedFailure(provider->WhyNotStarted())
                                               : FailureOf(why);
}

Failure ConverterFactory::WhyNotConverted(AbstractConverter::ErrorType error,
                                          const std::string& what, bool isPicture,
                                          const std::string& why) const
{
    const QString whyNotStarted = workers->WhyNotStarted();
    if (error == AbstractConverter::Unconfined)
        return UnconfinedFailure(whyNotStarted);
    return error == AbstractConverter::Unknown && !whyNotStarted.isEmpty()
               ? NotStartedFailure(whyNotStarted)
               : FailureOf(error, what, isPicture, why);
}

void ConverterFactory::SweepTarget(const std::string& folder)
{
    if (sweptTargets.insert(folder).second)
        PDF::LocalFileSystem::Sweep(folder);
}

void ConverterFactory::CheckForSignal() const
{
    interruption.Check();
}

std::shared_ptr<AbstractConverter> ConverterFactory::MakeChain(std::size_t pages)
{
    const auto makeChain = [this] {
        return std::make_shared<TempFileWrapper>(names, std::make_shared<WorkerConverter>(workers),
                                                 fileSystemOfPages);
    };
    const auto fanOut = std::make_shared<PageFanOut>(makeChain, int(std::min(pages, jobs)));
    fanOuts.erase(std::remove(fanOuts.begin(), fanOuts.end(), nullptr), fanOuts.end());
    fanOuts.emplace_back(fanOut.get());
    return std::make_shared<UnencryptDocWrapper>(names, fanOut, copyProvider, fileSystem);
}

} // namespace Korvel::App
