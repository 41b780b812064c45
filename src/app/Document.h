#pragma once

#include "AbstractConverter.h"
#include "CommandLine.h"
#include "Inputs.h"
#include "OutputPlan.h"
#include "Report.h"
#include "WorkerPdfProvider.h"

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <QObject>
#include <QTimer>

namespace Korvel::App {

class Passwords;
class Services;

/**
 * One input on its way to its results: opened, planned, converted, in this order. Used on the main
 * thread.
 *
 * Each step throws Failure when something is wrong with this document, and Interrupted when a
 * signal has come.
 */
class Document
{
public:
    Document(const Input& input, const CommandLine& commandLine, Services& services,
             Report& report);

    const Input& GetInput() const { return input; }

    /** Opens the document once, to learn how many pages there are and which password it takes. */
    void Open(Passwords& passwords);

    /**
     * Chooses a path for each result.
     *
     * @param planned  the paths of the documents before, to which this one's are added
     */
    void Plan(const OutputTemplate& output, PlannedPaths& planned);

    /** What the document says of itself. */
    const PDF::DocumentInfo& Info() const { return info; }

    /** Where the results go, or have gone, in page order; without those that were skipped. */
    std::vector<Report::Result> Results() const;

    /** Receives what went wrong; null when nothing did. */
    using Receiver = std::function<void(const std::exception_ptr& failure)>;

    /**
     * Makes the results. What is finished when another page fails stays where it is.
     *
     * @param planned  gets the paths that are chosen anew, as other programs have taken them
     * @param ended    called from the event loop at the end, once; may destroy nothing of this
     */
    void Convert(PlannedPaths& planned, Receiver ended);

private:
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;

    Failure OpenFailure(PDF::OpenFailure why) const;
    Failure CopyFailure() const;
    Failure ConversionFailure(PDF::Converter::AbstractConverter::ErrorType error) const;
    Failure ExistsFailure(const QString& path) const;

    void CheckInput() const;
    void FindPassword(Passwords& passwords);
    bool TryToOpen(const std::string& tried);
    PDF::OpenFailure WhyOpenFailed() const;
    void PlanResult(int page, const QString& wanted, PlannedPaths& planned);
    void PrepareFolders() const;
    void CheckResult(const PlannedResult& result) const;
    void Later(const std::function<void()>& step);
    void End(const std::exception_ptr& failure);
    void Begin();
    void StartRound();
    void ConnectToChain();
    void TimeIsUp();
    void FinishRound();
    QStringList PathsOfRound() const;
    PDF::Converter::AbstractConverter::Task MakeTask() const;

    const Input input;
    const CommandLine& commandLine;
    Services& services;
    Report& report;

    PDF::DocumentInfo info;
    std::string password;
    QString format;
    std::vector<int> pages;
    std::vector<PlannedResult> results;

    /** What is converted, once or in several rounds, each through a chain of its own. */
    struct Conversion
    {
        Conversion(PlannedPaths& planned, Receiver ended)
            : planned(planned), ended(std::move(ended))
        {
        }

        PlannedPaths& planned;
        const Receiver ended;
        int work = 0;
        std::vector<PlannedResult*> left;
        int rounds = 0;
        std::shared_ptr<PDF::Converter::AbstractConverter> chain;
        /** The final paths, empty where a result could not be moved. */
        std::optional<QStringList> paths;
        std::optional<PDF::Converter::AbstractConverter::ErrorType> error;
        QTimer alarm;
        /** As of when this one was last given time for them. */
        std::chrono::milliseconds timeOfCopies{0};
        bool isLate = false;
    };
    std::unique_ptr<Conversion> conversion;
    /** Receives the calls that come later. */
    QObject context;
};

} // namespace Korvel::App
