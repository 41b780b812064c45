#include "ConverterFactory.h"

#include "ConversionFailure.h"
#include "Descriptors.h"
#include "KeepingFileSystem.h"
#include "LocalFileSystem.h"
#include "ResultFileSystem.h"
#include "RunOptions.h"
#include "WorkerPdfProvider.h"
#include "WorkerPool.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include <glog/logging.h>
#include <unistd.h>

namespace Korvel::App {

using PDF::Converter::DocumentChain;

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

/** Gives the copy of a document a second name, which stays. */
void KeepCopy(const ioPath& copy)
{
    const std::string path = copy.utf8string();
    if (::link(path.c_str(), (path + ".kept").c_str()) != 0)
        PLOG(WARNING) << "cannot keep " << path;
}

/** How many documents or pages are converted at once, if as many files may be open. */
std::size_t JobsOf(const RunOptions& options)
{
    constexpr int descriptors = 32;
    constexpr int descriptorsOfJob = 16; // two processes, one of which is being started
    const int jobs = PDF::Converter::ProcessesFor(options.jobs);
    NeedDescriptors(descriptors + jobs * descriptorsOfJob);
    return std::size_t(jobs);
}

PDF::WorkerSettings ToSettings(const RunOptions& options)
{
    PDF::WorkerSettings settings;
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
      keepsTemporaries(options.keepsTemporaries),
      interruption(interruption),
      services(MakeSessionFolder(options), ToSettings(options), int(jobs)),
      fileSystemOfPages(MakeFileSystemOfPages(
          options, std::make_shared<ResultFileSystem>(services.files, onExists, journal))),
      asides(mainThread)
{
    interruption.OnSignal([this, signals = 0]() mutable {
        // The provider is told at once, since the main thread may be waiting for its answer.
        services.provider->Shutdown();
        QMetaObject::invokeMethod(&mainThread, [this, again = ++signals > 1] { EndWork(again); });
    });
}

void ConverterFactory::PrepareWorkers(std::size_t documents, Next nextOfWorkers)
{
    services.provider->Prepare();
    next = nextOfWorkers;
    toOpen = documents;
}

void ConverterFactory::Close(const PDF::DocumentHandle& document, const QString& file,
                             bool needsCopy)
{
    const bool isLast = ++closed == toOpen && next != Next::Open;
    if (!needsCopy && (isLast || next == Next::ConvertMeanwhile)) {
        services.provider->TakeBack(
            services.pool->Adopt(services.provider->TakeWorker(document), file));
        return;
    }
    services.provider->CloseDocument(document).wait(); // so that the next one finds its worker free
    if (isLast)
        services.pool->Prepare();
}

void ConverterFactory::LendWorker()
{
    services.provider->TakeBack(services.pool->GiveAway());
}

void ConverterFactory::EndWork(bool atOnce)
{
    if (atOnce && whenEndingAtOnce)
        whenEndingAtOnce();
    for (const std::weak_ptr<DocumentChain>& one : chains) {
        const std::shared_ptr<DocumentChain> chain = one.lock();
        if (chain && atOnce)
            chain->Cancel();
        else if (chain)
            chain->StopAfterRunningPages();
    }
}

ConverterFactory::~ConverterFactory()
{
    interruption.OnSignal({});
    services.provider->Shutdown(); // for which copies that are being made wait no longer
}

std::string ConverterFactory::MakePrivateFolder()
{
    std::string path = services.FreshPath();
    if (!services.files->CreateFolder(ioPath(path)))
        throw Failure(ExitCode::Output, "no-temporary-folder",
                      "cannot make a folder for temporary files in " + TempFolder() +
                          "; choose another with --temp-dir");
    return path;
}

Failure ConverterFactory::WhyNotOpened(const std::string& path) const
{
    const PDF::OpenFailure why = services.provider->WhyOpenFailed(ioPath(path));
    if (why == PDF::OpenFailure::Unconfined)
        return UnconfinedFailure(services.provider->WhyNotStarted());
    return why == PDF::OpenFailure::NotStarted
               ? NotStartedFailure(services.provider->WhyNotStarted())
               : FailureOf(why);
}

std::set<QString>
ConverterFactory::PrepareFolders(const std::vector<PDF::Converter::PlannedResult>& results)
{
    try {
        return services.PrepareFolders(results);
    } catch (const PDF::Converter::ConversionFailure& failure) {
        throw Failure(ExitCode::Output, "cannot-write", failure.what());
    }
}

void ConverterFactory::MakeCopy(const QString& file, const std::string& password,
                                const std::function<void(const Copy&)>& copied)
{
    const auto opened = std::make_shared<std::future<PDF::DocumentHandle>>(
        services.provider->OpenDocument(ioPath(file.toStdString()), password));
    const auto save = [this, opened, copied] {
        QMetaObject::invokeMethod(
            &mainThread, [copied, copy = SaveCopy(opened->get())] { copied(copy); },
            Qt::QueuedConnection);
    };
    try {
        if (copiesAside)
            asides.Call(save);
    } catch (const std::system_error&) { // there is no room for another thread
        CopyOneByOne();
    }
    if (!copiesAside)
        save();
}

void ConverterFactory::CopyOneByOne()
{
    copiesAside = false;
    asides.Wait();
}

ConverterFactory::Copy ConverterFactory::SaveCopy(const PDF::DocumentHandle& document)
{
    if (document.id < 0)
        return nullptr;
    Copy copy = services.SaveCopy(document);
    services.provider->CloseDocument(document).wait(); // so that the next one finds its worker free
    if (copy && keepsTemporaries)
        KeepCopy(copy->path);
    return copy;
}

std::shared_ptr<DocumentChain>
ConverterFactory::MakeChain(const Copy& copy, std::vector<PDF::Converter::PlannedResult>& results,
                            PDF::Converter::ChainListener& listener)
{
    auto chain =
        std::make_shared<DocumentChain>(services, fileSystemOfPages, copy, results, listener);
    const auto isGone = [](const std::weak_ptr<DocumentChain>& one) {
        return one.expired();
    };
    chains.erase(std::remove_if(chains.begin(), chains.end(), isGone), chains.end());
    chains.push_back(chain);
    return chain;
}

} // namespace Korvel::App
