#pragma once

#include "AbstractConverter.h"
#include "CommandLine.h"
#include "Inputs.h"
#include "OutputPlan.h"
#include "Report.h"
#include "WorkerPdfProvider.h"

#include <string>
#include <vector>

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

    /** Makes the results. What is finished when another page fails stays where it is. */
    void Convert(const PlannedPaths& planned);

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
    std::vector<PlannedResult*> ConvertRound(const std::vector<PlannedResult*>& wanted);
    QStringList RunChain(const std::vector<PlannedResult*>& wanted);
    PDF::Converter::AbstractConverter::Task
    MakeTask(const std::vector<PlannedResult*>& wanted) const;

    const Input input;
    const CommandLine& commandLine;
    Services& services;
    Report& report;

    PDF::DocumentInfo info;
    std::string password;
    QString format;
    std::vector<int> pages;
    std::vector<PlannedResult> results;
};

} // namespace Korvel::App
