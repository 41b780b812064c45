#pragma once

#include "ChainListener.h"
#include "DocumentInfo.h"
#include "TextReport.h"

#include <memory>
#include <optional>
#include <vector>

#include <QObject>

namespace Korvel::PDF {
class IFileSystem;
class WorkerPool;
} // namespace Korvel::PDF

namespace Korvel::PDF::Converter {

class ConversionServices;
class PlacedResults;
class TemporaryFile;

/** Whether a chain is to convert a copy of a document, without encryption and damage. */
inline bool NeedsCopy(const DocumentInfo& document)
{
    return document.encrypted || document.repaired;
}

/**
 * The course of a conversion: converts a document through a chain of its own, gathers what that
 * tells of it, and judges how it has ended.
 *
 *     UnencryptDocWrapper( PageFanOut( TempFileWrapper( WorkerConverter ) x processes ) )
 *
 * Used on the thread of the services; what is not done when it is destroyed ends.
 */
class DocumentChain
{
public:
    using Task = AbstractConverter::Task;

    /**
     * @param files     what moves results, and removes the private folders in which they are made
     * @param copy      of a document that is encrypted or damaged, without that, which goes with
     *                  this; null where the source itself is converted
     * @param results   those that are wanted, at least one; they are told where they have gone
     * @param listener  lives longer than this, as the results do
     */
    DocumentChain(const ConversionServices& services, std::shared_ptr<IFileSystem> files,
                  const std::shared_ptr<const TemporaryFile>& copy,
                  std::vector<PlannedResult>& results, ChainListener& listener);
    ~DocumentChain();

    /**
     * Starts a task, to which the results are added here.
     *
     * @return false when the copy is not where it was made; nobody is told of an end then
     */
    bool Start(Task task);

    /** Ends the task at once; whether it could be asked. */
    bool Cancel();

    /** Ends the task when the pages that are being converted are done. */
    void StopAfterRunningPages();

    /** Stops so, and has a result of several pages put nowhere. */
    void StopAtBadPage();

    /** Whether it was asked to end at once. */
    bool IsCancelled() const { return isCancelled; }

private:
    DocumentChain(const DocumentChain&) = delete;
    DocumentChain& operator=(const DocumentChain&) = delete;

    using ErrorType = AbstractConverter::ErrorType;

    void Connect();
    void AddPages(Task& task) const;
    void AddTellers(Task& task);
    void PageFailed(const PageFanOut::PageFailure& failure);
    void Gather(const TextReport& ofResult);
    void EndLater();
    void Judge();
    void FindCause();
    const PlannedResult* FirstMissing() const;
    bool HasFailed(int page) const;

    const std::vector<PlannedResult>& results;
    ChainListener& listener;
    const std::shared_ptr<WorkerPool> pool;
    const std::shared_ptr<PlacedResults> placed;
    std::shared_ptr<PageFanOut> fanOut;
    std::shared_ptr<AbstractConverter> chain;
    /** As far as it is known. */
    ConversionOutcome outcome;
    TextReport report;
    const bool isCopied;
    bool isCancelled = false;
    bool endsAtBadPage = false;
    /** Receives the chain's signals; goes first. */
    QObject context;
};

} // namespace Korvel::PDF::Converter
