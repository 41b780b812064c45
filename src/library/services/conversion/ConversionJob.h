#pragma once

#include "ConversionListener.h"
#include "ConversionRequest.h"
#include "PageFanOut.h"
#include "PreparedDocument.h"
#include "TextReport.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <QObject>

namespace Korvel::PDF::Converter {

class ConversionServices;
class PlacedResults;

/**
 * Converts a document that was prepared, and gathers what becomes of it. Used on the engine's
 * thread.
 */
class ConversionJob
{
public:
    ConversionJob(ConversionRequest request, std::shared_ptr<ConversionListener> listener);
    ~ConversionJob();

    const ConversionRequest& Request() const { return request; }
    const std::shared_ptr<ConversionListener>& Listener() const { return listener; }

    /**
     * Converts the document. What it throws ends the conversion.
     *
     * @param whenDone  called from the event loop, once; may destroy this
     */
    void Convert(PreparedDocument document, std::shared_ptr<ConversionServices> shared,
                 std::function<void()> whenDone);

    /** Has the chain end; false when there is none. */
    bool CancelChain();

    /** What is told at the end. */
    ConversionResult TakeResult();

    void Fail(AbstractConverter::ErrorType error, const QString& text);

private:
    ConversionJob(const ConversionJob&) = delete;
    ConversionJob& operator=(const ConversionJob&) = delete;

    using Task = AbstractConverter::Task;

    std::shared_ptr<AbstractConverter> MakeChain();
    void ConnectToChain();
    Task MakeTask();
    void AddTellers(Task& task);
    void AddPages(Task& task) const;
    void Progressed(double part);
    void PageFailed(int page, AbstractConverter::ErrorType error, const QString& why);
    void Warn(ConversionResult::Warning warning, const QString& text);
    void Reported(const TextReport& report);
    void ChainFailed(AbstractConverter::ErrorType error);
    void Finish();
    void RequireSource() const;
    void RequireResults() const;
    ConversionResult::Page ToPage(const ResultPlan::Result& made) const;
    QString About(int page) const;

    const ConversionRequest request;
    const std::shared_ptr<ConversionListener> listener;
    ConversionResult result;
    std::function<void()> done;
    std::shared_ptr<ConversionServices> services;
    PreparedDocument prepared;
    std::shared_ptr<PlacedResults> placed;
    std::shared_ptr<PageFanOut> fanOut;
    std::shared_ptr<AbstractConverter> chain;
    /** What the chain says of why the document has failed. */
    QString why;
    std::optional<AbstractConverter::ErrorType> chainError;
    bool isCancelled = false;
    double progress = 0;
    /** Receives the chain's signals; goes first. */
    QObject context;
};

} // namespace Korvel::PDF::Converter
