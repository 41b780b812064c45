#pragma once

#include "ConverterFactory.h"
#include "DocumentChain.h"
#include "Failure.h"
#include "PlannedDocument.h"
#include "Run.h"

#include <exception>
#include <functional>
#include <memory>
#include <vector>

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

namespace Korvel::App {

class Planner;

/**
 * Makes the results of a document through a chain of its own, and puts them in their places. Used
 * on the main thread, whose event loop runs meanwhile.
 */
class Conversion : private PDF::Converter::ChainListener
{
public:
    /** Receives what went wrong; null when nothing did. */
    using Receiver = std::function<void(const std::exception_ptr& failure)>;

    /**
     * @param planner  chooses anew where other programs have taken the place of a result
     * @param planned  lives longer; its results get the final paths, empty where there is nothing
     */
    Conversion(const Run& run, Planner& planner, PlannedDocument& planned);

    /**
     * Makes the results. A page that fails alone is warned of; what is finished when the document
     * fails stays where it is. The document's password is forgotten.
     *
     * @param ended  called from the event loop at the end, once; may destroy this
     */
    void Start(Receiver ended);

private:
    Conversion(const Conversion&) = delete;
    Conversion& operator=(const Conversion&) = delete;

    using Outcome = PDF::Converter::ConversionOutcome;
    using PageFailure = PDF::Converter::PageFanOut::PageFailure;
    using Task = PDF::Converter::DocumentChain::Task;

    void Take(const std::function<void()>& step);
    void End(const std::exception_ptr& failure, const Outcome& outcome = {});
    void Begin();
    void TakeUpChanges();
    QString ChangedSource() const override;
    bool IsAsPlanned(const Document& source) const;
    Failure FailureIn(const QString& source, const Failure& failure) const;
    void CopySources();
    /** The next document that may have to be copied. */
    const Document& ToCopy() const { return *planned.All()[copies.size()]; }
    void Copied(const ConverterFactory::Copy& copy);
    bool LacksWorker() const;
    Failure WhyNotCopied() const;
    void StartChain();
    Task MakeTask() const;
    void AddSource(Task& task) const;
    void AddSources(Task& task) const;
    void StartAlarm();
    void TimeIsUp();
    void Progressed(double part) override;
    bool PlanAnew(PlannedResult& result) override;
    void Ended(const Outcome& outcome) override
    {
        Take([&] { Finish(outcome); });
    }
    void Finish(const Outcome& outcome);
    Failure WhyNotConverted(const Outcome& outcome) const;
    Failure WhyMissing(const PlannedResult& result) const;
    Failure WhyFailed(const PageFailure& page) const;
    void Warn(const PDF::Converter::ConversionResult::Note& note) const;
    QJsonArray TellFailedPages(const std::vector<PageFailure>& failures) const;
    bool IsTaken(const QString& path) const;

    const Run run;
    Planner& planner;
    PlannedDocument& planned;
    Document& document;
    std::vector<PlannedResult>& results;

    Receiver ended;
    QElapsedTimer sinceStart;
    /** The console's number for this conversion. */
    int work = 0;
    /** As far as they were made, of the documents in their order; null of one that needs none. */
    std::vector<ConverterFactory::Copy> copies;
    bool hasWaitedForWorker = false;
    std::shared_ptr<PDF::Converter::DocumentChain> chain;
    QTimer alarm;
    bool isLate = false;
    /** Receives the calls that come later. */
    QObject context;
};

} // namespace Korvel::App
