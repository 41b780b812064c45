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
class IPDFProvider;
} // namespace Korvel::PDF

namespace Korvel::PDF::Converter {

class ConversionServices;
class PlacedResults;

/** Whether a chain is to convert a copy of a document, without encryption and damage. */
inline bool NeedsCopy(const DocumentInfo& document)
{
    return document.encrypted || document.repaired;
}

/**
 * Converts a document through a chain of its own, and gathers what that tells of it:
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
     * @param copies    what makes the copy of a document that is encrypted or damaged
     * @param results   those that are wanted, at least one; they are told where they have gone
     * @param listener  lives longer than this, as the results do
     */
    DocumentChain(const ConversionServices& services, std::shared_ptr<IFileSystem> files,
                  const std::shared_ptr<IPDFProvider>& copies, std::vector<PlannedResult>& results,
                  ChainListener& listener);
    ~DocumentChain();

    /**
     * Starts a task, to which the results are added here.
     *
     * @return false when there is no copy of the document; nobody is told of an end then
     */
    bool Start(Task task);

    /** Ends the task at once; whether it could be asked. */
    bool Cancel();

    /** Ends the task when the pages that are being converted are done. */
    void StopAfterRunningPages();

    /** Stops so, and has a result of several pages put nowhere. */
    void StopAtBadPage();

    /** The pages that have failed while others have not, as they came. */
    const std::vector<PageFanOut::PageFailure>& Failures() const { return failures; }

    bool HasFailed(int page) const;

    /** Why the document has failed; nothing when it has not. */
    const std::optional<AbstractConverter::ErrorType>& Error() const { return error; }

    /** What the worker says of that; may be empty. */
    const QString& Why() const { return why; }

    /** What its texts lack, so far. */
    const TextReport& Report() const { return report; }

private:
    DocumentChain(const DocumentChain&) = delete;
    DocumentChain& operator=(const DocumentChain&) = delete;

    void Connect();
    void AddPages(Task& task) const;
    void AddTellers(Task& task);
    void PageFailed(const PageFanOut::PageFailure& failure);
    void Gather(const TextReport& ofResult);
    void EndLater();

    const std::vector<PlannedResult>& results;
    ChainListener& listener;
    const std::shared_ptr<PlacedResults> placed;
    std::shared_ptr<PageFanOut> fanOut;
    std::shared_ptr<AbstractConverter> chain;
    std::vector<PageFanOut::PageFailure> failures;
    std::optional<AbstractConverter::ErrorType> error;
    QString why;
    TextReport report;
    /** Receives the chain's signals; goes first. */
    QObject context;
};

} // namespace Korvel::PDF::Converter
