#pragma once

#include "Console.h"
#include "Conversion.h"
#include "Inputs.h"
#include "Journal.h"
#include "Options.h"
#include "OutputTemplate.h"
#include "PlannedPaths.h"
#include "WorkerPdfProvider.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

#include <QElapsedTimer>

namespace Korvel::App {

class Passwords;
class ConverterFactory;
class InputFiles;

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
    Document(const Input& input, const Options& options, const InputFiles& sources,
             ConverterFactory& factory, Console& console);

    const Input& GetInput() const { return input; }

    /** Opens the document once, to learn how many pages there are and which password it takes. */
    void Open(Passwords& passwords);

    /**
     * Chooses a path for each result.
     *
     * @param planned  the paths of the documents before, to which this one's are added
     */
    void Plan(const OutputTemplate& output, PlannedPaths& planned);

    /** Whether a plan of an earlier run can have been made for this document, as it was then. */
    bool CanHave(const Journal::Plan& plan, const OutputTemplate& output) const;

    /** Takes up such a plan in place of making one. */
    void Resume(const Journal::Plan& plan, const OutputTemplate& output);

    /** What the document says of itself. */
    const PDF::DocumentInfo& Info() const { return info; }

    /** Where the results go, or have gone, in page order; without those that were skipped. */
    std::vector<Result> Results() const { return ResultsOf(results); }

    /**
     * Makes the results.
     *
     * @param planned  gets the paths that are chosen anew, as other programs have taken them
     * @param ended    called from the event loop at the end, once; may destroy nothing of this
     */
    void Convert(PlannedPaths& planned, Conversion::Receiver ended);

    /** How long ago Convert was called. */
    double Seconds() const { return double(sinceConvert.elapsed()) / 1000; }

private:
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;

    void CheckInput() const;
    void FindPassword(Passwords& passwords);
    bool TryToOpen(const std::string& tried);
    PDF::OpenFailure WhyOpenFailed() const;
    void ChoosePages(const OutputTemplate& output);
    std::map<int, QString> WantedPaths(const OutputTemplate& output, int pageCount) const;
    void CheckSource(const QString& path) const;
    void PlanResult(int page, const QString& wanted, PlannedPaths& planned);
    Conversion::Task MakeTask() const;

    const Input input;
    const Options& options;
    const InputFiles& sources;
    ConverterFactory& factory;
    Console& console;

    PDF::DocumentInfo info;
    std::string password;
    QString format;
    std::vector<int> pages;
    std::vector<PlannedResult> results;
    std::unique_ptr<Conversion> conversion;
    QElapsedTimer sinceConvert;
};

} // namespace Korvel::App
