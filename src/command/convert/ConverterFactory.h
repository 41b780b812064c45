#pragma once

#include "AsideCalls.h"
#include "ConversionServices.h"
#include "DocumentChain.h"
#include "FailureMessages.h"
#include "Interruption.h"
#include "OnExists.h"
#include "PreparedCopy.h"
#include "SessionFolder.h"

#include <functional>
#include <future>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <QObject>
#include <QStringList>

namespace Korvel::App {

class Journal;
class Passwords;
struct RunOptions;

/**
 * What documents are opened and converted with, one for a run of the command: the session folder,
 * and the worker processes. A signal ends what they do. Used on the main thread.
 */
class ConverterFactory
{
public:
    /**
     * @param onExists   what becomes of files at the results' paths
     * @param passwords  those of the run: once there are any, the environment has none in it
     * @param journal    what results are written down in
     * @throws Failure  Output: no folder for temporary files, or none that can be kept; Internal:
     *                  too few files may be open for as many jobs
     */
    ConverterFactory(const RunOptions& options, OnExists onExists, Interruption& interruption,
                     const Passwords& passwords, Journal& journal);

    /** Ends the workers, and removes everything temporary. */
    ~ConverterFactory();

    /** What becomes of the workers that have opened documents. */
    enum class Next {
        /** They open others; nothing is converted. */
        Open,
        /** They open others, and the last one goes on to convert its document. */
        ConvertAfterwards,
        /** Each goes on to convert its document, and opens another one when that is done. */
        ConvertMeanwhile
    };

    /** Starts a worker to open documents, so that the first one need not wait for it. */
    void PrepareWorkers(std::size_t documents, Next nextOfWorkers);

    /**
     * Closes a document that the provider has opened.
     *
     * @param file       where it lies
     * @param needsCopy  whether it is opened once more, to be copied, before it is converted
     */
    void Close(const PDF::DocumentHandle& document, const QString& file, bool needsCopy);

    /** Has a worker that converts nothing at the moment open documents, if there is one. */
    void LendWorker();

    /** How many documents or pages are converted at once. */
    std::size_t Jobs() const { return jobs; }

    /** The session folder's path. */
    const std::string& TempFolder() const { return services.session->Path(); }

    /**
     * A new folder in the session folder: a document that has taken over its worker can write into
     * all of them, and knows the path of none.
     *
     * @throws Failure  Output: it could not be made
     */
    std::string MakePrivateFolder();

    /**
     * Makes the folders that results go to ready to be written into.
     *
     * @return their paths
     * @throws Failure  Output: one is not
     */
    std::set<QString> PrepareFolders(const std::vector<PDF::Converter::PlannedResult>& results);

    PDF::LocalFileSystem& FileSystem() { return *services.files; }
    PDF::WorkerPdfProvider& PdfProvider() { return *services.provider; }

    /** Which filters the worker did without that was asked last to open a document. */
    QStringList MissingFilters() const { return services.MissingFilters(); }

    /** What to tell of a document that the provider could not open. */
    Failure WhyNotOpened(const std::string& path) const;

    /** @throws Interrupted  a signal has come */
    void CheckForSignal() const { interruption.Check(); }

    /** Called, if set, on the main thread when a second signal ends the work at once. */
    std::function<void()> whenEndingAtOnce;

    using Copy = std::shared_ptr<const PDF::Converter::TemporaryFile>;

    /**
     * Saves a document without encryption and damage, while others go on where the machine has
     * room for that. The provider's GiveUp ends it, as a signal does.
     *
     * @param copied  called from the event loop; with null where there is none, for which the
     *                provider has the reason
     */
    void MakeCopy(const QString& file, const std::string& password,
                  const std::function<void(const Copy&)>& copied);

    /** From now on copies are made one after the other; waits for those that are being made. */
    void CopyOneByOne();

    /**
     * A fresh one for every document, or for its copy where that is not null; the workers are
     * shared. A signal ends what the chains do when the pages that are being converted are done,
     * and a second one ends it at once.
     */
    std::shared_ptr<PDF::Converter::DocumentChain>
    MakeChain(const Copy& copy, std::vector<PDF::Converter::PlannedResult>& results,
              PDF::Converter::ChainListener& listener);

private:
    Copy SaveCopy(const PDF::DocumentHandle& document);
    void EndWork(bool atOnce);

    ConverterFactory(const ConverterFactory&) = delete;
    ConverterFactory& operator=(const ConverterFactory&) = delete;

    const std::size_t jobs;
    const bool keepsTemporaries;
    Interruption& interruption;
    PDF::Converter::ConversionServices services;
    /** What the chains of pages move results by, and remove their private folders. */
    const std::shared_ptr<PDF::IFileSystem> fileSystemOfPages;
    /** Those that were made, and may be gone. */
    std::vector<std::weak_ptr<PDF::Converter::DocumentChain>> chains;
    Next next = Next::Open;
    std::size_t toOpen = 0;
    std::size_t closed = 0;
    bool copiesAside = true;
    /** Receives calls from other threads. */
    QObject mainThread;
    PDF::Converter::AsideCalls asides;
};

} // namespace Korvel::App
