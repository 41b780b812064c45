#pragma once

#include "ConverterFactory.h"
#include "Document.h"
#include "InputFiles.h"
#include "Journal.h"
#include "Options.h"
#include "PlannedPaths.h"

#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include <QEventLoop>

namespace Korvel::App {

class Interruption;
class Console;

/**
 * Carries out a command line: opens every input, plans every result's path, and then converts the
 * documents, some of them side by side. Used on the main thread.
 */
class Batch
{
public:
    Batch(const Options& options, Console& console, Interruption& interruption);

    /**
     * What went wrong with an input is reported, and the others go on.
     *
     * @throws Failure      what concerns no single input
     * @throws Interrupted  a signal came; what was being worked on is cancelled
     */
    ExitCode Run();

private:
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;

    ExitCode RunAll();
    void End(int exitCode);
    OutputTemplate Output();
    void OpenAndPlan(const std::vector<Input>& inputs);
    void FindSources(const std::vector<Input>& inputs);
    bool IsToDo(const Input& input);
    void Plan(Document& document, const OutputTemplate& output);
    void GiveUp(const Journal::Plan& plan);
    void CheckStandardOutput() const;
    void ReportInterruption(const QString& name);
    bool IsToStop() const;
    void ConvertAll();
    void StartDocuments();
    void DocumentEnded(std::size_t index, const std::exception_ptr& failure);
    void ReportDocument(const Document& document, const std::exception_ptr& failure);
    void Finish(const Document& document);
    bool WriteResults(const Document& document);
    void Summarize(std::size_t inputs);
    bool Attempt(const Input& input, const std::function<void()>& step);
    void Fail(const Input& input, const Failure& failure);
    ExitCode Code(std::size_t inputs) const;

    const Options& options;
    Console& console;
    Interruption& interruption;
    /** Null when nothing is to be written down. */
    const std::unique_ptr<Journal> journal;
    ConverterFactory factory;
    InputFiles sources;
    PlannedPaths planned;
    /** Name of the input in work; empty when it is none in particular. */
    QString inWork;
    /** Those that could be opened and planned. */
    std::vector<std::unique_ptr<Document>> documents;
    /** How many of these have been started, are being converted, and were told about, in order. */
    std::size_t started = 0;
    std::size_t running = 0;
    std::size_t reported = 0;
    std::size_t converted = 0;
    /** How many of the inputs earlier runs have converted, or could not convert. */
    std::size_t convertedBefore = 0;
    std::size_t failedBefore = 0;
    /** What went wrong with those, by their indices, that ended and were not told about yet. */
    std::map<std::size_t, std::exception_ptr> ended;
    bool hasAnyFailed = false;
    QEventLoop converting;
    bool isInterrupted = false;
    /** How the others ended. */
    std::vector<ExitCode> failures;
};

} // namespace Korvel::App
