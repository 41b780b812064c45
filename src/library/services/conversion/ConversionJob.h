#pragma once

#include "ConversionListener.h"
#include "ConversionRequest.h"
#include "DocumentChain.h"
#include "PreparedDocument.h"

#include <functional>
#include <memory>
#include <string>

namespace Korvel::PDF::Converter {

class ConversionServices;

/**
 * Converts a document that was prepared, and finds the words for what becomes of it. Used on the
 * engine's thread.
 */
class ConversionJob : private ChainListener
{
public:
    ConversionJob(ConversionRequest request, std::shared_ptr<ConversionListener> listener);
    ~ConversionJob() override;

    const ConversionRequest& Request() const { return request; }
    const std::shared_ptr<ConversionListener>& Listener() const { return listener; }

    /** Tells that the document is open; where nothing is to be made of it, that is all. */
    void TakeUp(PreparedDocument document);

    /**
     * Converts the document. What it throws ends the conversion.
     *
     * @param whenDone  called from the event loop, once; may destroy this
     */
    void Convert(std::shared_ptr<ConversionServices> shared, std::function<void()> whenDone);

    /** Has the chain end; false when there is none. */
    bool CancelChain();

    /** What is told at the end. */
    ConversionResult TakeResult();

    void Fail(AbstractConverter::ErrorType error, const QString& text);

private:
    ConversionJob(const ConversionJob&) = delete;
    ConversionJob& operator=(const ConversionJob&) = delete;

    DocumentChain::Task MakeTask() const;
    void Progressed(double part) override;
    void PageFailed(const PageFanOut::PageFailure& failure) override;
    bool PlanAnew(PlannedResult& planned) override;
    void Placed(const PlannedResult& made) override;
    QString ChangedSource() const override;
    void Ended(const ConversionOutcome& outcome) override;
    void Warn(ConversionResult::Warning warning, const QString& text);
    void TellSuccess(const ConversionOutcome& outcome);
    QString WhyFailed(const ConversionOutcome& outcome) const;
    static ConversionResult::Page ToPage(const PlannedResult& made);
    QString About(int page) const;

    const ConversionRequest request;
    const std::shared_ptr<ConversionListener> listener;
    ConversionResult result;
    std::function<void()> done;
    std::shared_ptr<ConversionServices> services;
    PreparedDocument prepared;
    std::unique_ptr<DocumentChain> chain;
    double progress = 0;
};

} // namespace Korvel::PDF::Converter
