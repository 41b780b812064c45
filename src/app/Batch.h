#pragma once

#include "CommandLine.h"
#include "Document.h"
#include "Services.h"

#include <functional>
#include <memory>
#include <vector>

namespace Korvel::App {

class Interruption;
class Report;

/**
 * Carries out a command line: opens every input, plans every result's path, and then converts one
 * document after the other. Used on the main thread.
 */
class Batch
{
public:
    Batch(const CommandLine& commandLine, Report& report, Interruption& interruption);

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
    OutputTemplate Output() const;
    void OpenAndPlan(const std::vector<Input>& inputs);
    void CheckStandardOutput() const;
    void Finish(Document& document);
    bool WriteResults(const Document& document);
    void Summarize(std::size_t inputs);
    bool Attempt(const Input& input, const std::function<void()>& step);
    ExitCode Code(std::size_t inputs) const;

    const CommandLine& commandLine;
    Report& report;
    Interruption& interruption;
    Services services;
    PlannedPaths planned;
    /** Name of the input in work; empty when it is none in particular. */
    QString inWork;
    /** Those that could be opened and planned. */
    std::vector<std::unique_ptr<Document>> documents;
    /** How the others ended. */
    std::vector<ExitCode> failures;
};

} // namespace Korvel::App
