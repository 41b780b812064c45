#pragma once

#include "ConverterFactory.h"
#include "Journal.h"
#include "PlannedDocuments.h"
#include "Planner.h"
#include "Run.h"
#include "Tally.h"

#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <QString>

namespace Korvel::App {

class Console;
class Interruption;
class Passwords;

/**
 * Carries out a command line: opens every input, plans every result's path, and then, or meanwhile,
 * converts the documents. Used on the main thread.
 */
class Batch : private PlannedDocuments
{
public:
    /**
     * Takes the journal, reads the passwords and makes the session folder.
     *
     * @throws Failure      one of these cannot be had
     * @throws Interrupted  a signal came meanwhile
     */
    Batch(const Options& options, Console& console, Interruption& interruption);

    ~Batch() override;

    /**
     * What went wrong with an input is reported, and the others go on.
     *
     * @throws Failure      what concerns no single input
     * @throws Interrupted  a signal came; what was being worked on is cancelled
     */
    ExitCode Convert();

private:
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;

    std::unique_ptr<Passwords> ReadPasswords();
    ExitCode ConvertInputs();
    void SayWhatToKnow();
    std::vector<Input> Collect();
    std::optional<PlannedDocument> Next(bool mayWait) override;
    bool IsAtEnd() const override;
    bool CanConvertMeanwhile() const;
    void PrepareToOpen();
    void OpenAndPlanAll();
    std::optional<PlannedDocument> TakePlanned();
    std::optional<PlannedDocument> OpenAndPlanNext(bool mayWait);
    bool BeginNext();
    bool FindsNoRoom();
    std::optional<PlannedDocument> OpenAndPlan();
    void ExpectThoseToCome(const PlannedDocument& planned);
    std::vector<PlannedResult> Plan(const Document& document);
    void Merge();
    void TellMissingFilters();
    bool IsToDo(const Input& input);
    void CheckStandardOutput() const;
    void TellOnly();
    void ConvertAll();
    bool Tell(const PlannedDocument& planned, const std::exception_ptr& failure);
    void TellResults(const PlannedDocument& planned);
    bool WriteResults(const PlannedDocument& planned);
    using Report = void (Console::*)(const QString& name, const Failure& failure);

    bool Attempt(const Input& input, const std::function<void()>& step, Report report);
    void Fail(const Input& input, const Failure& failure, Report report);
    void TellEndingAtOnce();
    void TellInterruption(const QString& name);
    ExitCode Code() const;

    const Options& options;
    Console& console;
    const Interruption& interruption;
    Journal journal;
    /** Null once all documents are open; not on the stack, whose remains nobody clears. */
    std::unique_ptr<Passwords> passwords;
    ConverterFactory factory;
    const Run run;
    /** Null when nothing is to be made. */
    std::unique_ptr<Planner> planner;
    std::vector<Input> inputs;
    /** The next input that is to be opened. */
    std::vector<Input>::const_iterator next;
    /** Those that are being opened. */
    std::deque<std::unique_ptr<Document>> begun;
    /** The inputs that could be opened and planned, and are not being converted yet. */
    std::deque<PlannedDocument> documents;
    /** How many were planned, and how many results they are to have. */
    std::size_t plannedDocuments = 0;
    std::size_t plannedResults = 0;
    /** Documents are converted while others are still to be opened. */
    bool convertsMeanwhile = false;
    /** The machine has no room for as many workers as could be used. */
    bool lacksRoom = false;
    /** Name of the input in work; empty when it is none in particular. */
    QString inWork;
    /** The machine had no room for a worker, and so not all inputs came to their end. */
    bool lacksWorkers = false;
    bool isInterrupted = false;
    bool hasToldMissingFilters = false;
    Tally tally;
};

} // namespace Korvel::App
