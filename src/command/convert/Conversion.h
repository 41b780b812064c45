#pragma once

#include "AbstractConverter.h"
#include "PageFanOut.h"
#include "PlannedDocument.h"
#include "Run.h"
#include "TextReport.h"

#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <QElapsedTimer>
#include <QObject>
#include <QStringList>
#include <QTimer>

namespace Korvel::App {

class Failure;
class Planner;

/**
 * Makes the results of a document through a chain of its own, and puts them in their places. Used
 * on the main thread, whose event loop runs meanwhile.
 */
class Conversion
{
public:
    /** Receives what went wrong; null when nothing did. */
    using Receiver = std::function<void(const std::exception_ptr& failure)>;

    /**
     * @param planner  chooses anew where other programs have taken the place of a result
     * @param planned  its results get the final paths, empty where there is nothing; it lives
     * longer
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

    using Converter = PDF::Converter::AbstractConverter;

    void Later(const std::function<void()>& step);
    void End(const std::exception_ptr& failure);
    void Begin();
    void TakeUpChanges();
    void RequireSources() const;
    bool IsAsPlanned(const Document& source) const;
    Failure FailureIn(const Document& source, const Failure& failure) const;
    void PrepareFolders() const;
    void StartChain();
    Converter::Task MakeTask();
    void AddSource(Converter::Task& task) const;
    Failure CopyFailure() const;
    void ConnectToChain();
    void TimeIsUp();
    void Finish();
    QStringList MadePaths() const;
    Failure WhyFailed(const PDF::Converter::PageFanOut::PageFailure& page) const;
    bool HasFailed(int page) const;
    void TellTextReport() const;
    QJsonArray TellFailedPages() const;
    void CheckResult(const PlannedResult& result) const;
    Failure NotWritten(const QString& path) const;
    bool IsToGoElsewhere(const QString& path) const;
    void MoveElsewhere(std::vector<PlannedResult*> refused);

    const Run run;
    Planner& planner;
    PlannedDocument& planned;
    Document& document;
    std::vector<PlannedResult>& results;

    Receiver ended;
    QElapsedTimer sinceStart;
    /** The console's number for this conversion. */
    int work = 0;
    std::shared_ptr<Converter> chain;
    /** The final paths, empty where a result could not be moved. */
    std::optional<QStringList> paths;
    std::optional<Converter::ErrorType> error;
    /** The pages that have failed while others have not, as they came. */
    std::vector<PDF::Converter::PageFanOut::PageFailure> failures;
    /** Where these were to go. */
    std::vector<Result> lacking;
    /** What the text of the document lacks. */
    PDF::Converter::TextReport textReport;
    QTimer alarm;
    /** ConverterFactory::TimeHeldUp() as of when this document was last given time for them. */
    std::chrono::milliseconds timeHeldUp{0};
    bool isLate = false;
    /** Receives the calls that come later. */
    QObject context;
};

} // namespace Korvel::App
