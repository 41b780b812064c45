#pragma once

#include "ConverterFactory.h"
#include "Journal.h"
#include "PlannedDocument.h"
#include "Planner.h"
#include "Run.h"
#include "Tally.h"

#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <vector>

#include <QString>

namespace Korvel::App {

class Console;
class Interruption;
class Passwords;

/**
 * Carries out a command line: opens every input, plans every result's path, and then converts the
 * documents. Used on the main thread.
 */
class Batch
{
public:
    /**
     * Takes the journal, reads the passwords and makes the session folder.
     *
     * @throws Failure      one of these cannot be had
     * @throws Interrupted  a signal came meanwhile
     */
    Batch(const Options& options, Console& console, Interruption& interruption);

    ~Batch();

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

    using Documents = std::deque<std::unique_ptr<Document>>;

    std::unique_ptr<Passwords> ReadPasswords();
    ExitCode ConvertInputs();
    void SayWhatToKnow();
    std::vector<Input> Collect();
    void OpenAndPlan(const std::vector<Input>& inputs);
    bool BeginNext(std::vector<Input>::const_iterator& next,
                   const std::vector<Input>::const_iterator& end, Documents& begun);
    void GiveUpWhatLacksWorkers(const Documents& begun);
    bool OpenAndPlan(std::unique_ptr<Document> document);
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
    bool Attempt(const Input& input, const std::function<void()>& step);
    void Fail(const Input& input, const Failure& failure);
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
    /** The inputs that could be opened and planned. */
    std::vector<PlannedDocument> documents;
    /** How many are opened side by side. */
    std::size_t atOnce = 1;
    /** Name of the input in work; empty when it is none in particular. */
    QString inWork;
    /** The machine had no room for a worker, and so not all inputs came to their end. */
    bool lacksWorkers = false;
    bool isInterrupted = false;
    bool hasToldMissingFilters = false;
    Tally tally;
};

} // namespace Korvel::App
