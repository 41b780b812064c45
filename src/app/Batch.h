#pragma once

#include "AbstractConverter.h"
#include "CommandLine.h"
#include "OutputPlan.h"
#include "WorkerPdfProvider.h"

#include <memory>
#include <string>
#include <vector>

#include <QPointer>

namespace Korvel {
namespace PDF {
class LocalFileSystem;
class UuidFileNameGenerator;
namespace Converter {
class WorkerConverter;
}
} // namespace PDF

namespace App {

class Interruption;
class Report;

/**
 * Carries out a command line: opens the input, plans every result's path, and converts through
 *
 *     UnencryptDocWrapper( PageFanOut( TempFileWrapper( WorkerConverter ) x processors ) )
 *
 * Used on the main thread.
 */
class Batch
{
public:
    Batch(const CommandLine& commandLine, Report& report, Interruption& interruption);

    /** Ends the workers, and removes everything temporary. */
    ~Batch();

    /**
     * @throws Failure      whatever went wrong, with a message that names the user's file
     * @throws Interrupted  a signal came; what was being worked on is cancelled
     */
    void Run();

private:
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;

    /** The input, as far as it is known after opening it. */
    struct Source
    {
        PDF::DocumentInfo info;
        std::string password;
    };

    Failure InputFailure(ExitCode code, const std::string& message) const;
    Failure OpenFailure(PDF::OpenFailure why) const;
    Failure ConversionFailure(PDF::Converter::AbstractConverter::ErrorType error) const;

    void CheckInput() const;
    void StartServices();
    Source OpenSource();
    bool TryToOpen(Source& source);
    std::vector<PlannedResult> Plan(const Source& source) const;
    void PrepareFolders(const std::vector<PlannedResult>& plan) const;
    QStringList ConvertAll(const Source& source, std::vector<PlannedResult> plan);
    std::vector<PlannedResult*> ConvertRound(const Source& source,
                                             const std::vector<PlannedResult*>& wanted);
    QStringList Convert(const Source& source, const std::vector<PlannedResult*>& wanted);
    PDF::Converter::AbstractConverter::Task
    MakeTask(const Source& source, const std::vector<PlannedResult*>& wanted) const;
    std::shared_ptr<PDF::Converter::AbstractConverter> MakeChain(std::size_t width);

    const CommandLine commandLine;
    const std::string input;
    const OutputTemplate output;
    Report& report;
    Interruption& interruption;

    std::shared_ptr<PDF::UuidFileNameGenerator> names;
    std::shared_ptr<PDF::LocalFileSystem> fileSystem;
    std::shared_ptr<PDF::WorkerPdfProvider> provider;
    std::vector<std::shared_ptr<PDF::Converter::WorkerConverter>> workers;
    QPointer<PDF::Converter::AbstractConverter> running;
    /** Receives calls from the signals' thread. */
    QObject mainThread;
};

} // namespace App
} // namespace Korvel
