#include "Batch.h"

#include "Interruption.h"
#include "Passwords.h"
#include "Report.h"

#include <algorithm>

#include <unistd.h>

namespace Korvel::App {

Batch::Batch(const CommandLine& commandLine, Report& report, Interruption& interruption)
    : commandLine(commandLine),
      report(report),
      interruption(interruption),
      services(commandLine, interruption)
{
}

ExitCode Batch::Run()
{
    if (commandLine.password)
        report.Note("other users of this machine can see a password on the command line; "
                    "--password-file keeps it from them");
    const std::vector<Input> inputs =
        CollectInputs(commandLine, services.TempFolder(), interruption);
    OpenAndPlan(inputs);
    CheckStandardOutput();
    for (const auto& document : documents) {
        if (commandLine.failFast && !failures.empty())
            break;
        Attempt(document->GetInput(), [&] { Convert(*document); });
    }
    if (inputs.size() > 1 && !commandLine.dryRun)
        report.Summary(inputs.size(), failures.size());
    return Code(inputs.size());
}

/** Where the results go; in the session folder when it is standard output that wants them. */
OutputTemplate Batch::Output() const
{
    if (!commandLine.WritesToStandardOutput())
        return OutputTemplate::Parse(commandLine.output, commandLine.format);
    const QString folder = QString::fromStdString(services.TempFolder());
    return OutputTemplate::Parse(QString(folder).replace(QLatin1Char('%'), QLatin1String("%%")) +
                                     QStringLiteral("/standard-output.") + commandLine.format,
                                 commandLine.format);
}

void Batch::OpenAndPlan(const std::vector<Input>& inputs)
{
    Passwords passwords(commandLine, interruption);
    const OutputTemplate output = Output();
    for (const Input& input : inputs) {
        auto document = std::make_unique<Document>(input, commandLine, services, report);
        const bool isPlanned = Attempt(input, [&] {
            document->Open(passwords);
            document->Plan(output, planned);
        });
        if (isPlanned) {
            documents.push_back(std::move(document));
        } else if (commandLine.failFast) {
            documents.clear();
            return;
        }
    }
}

void Batch::CheckStandardOutput() const
{
    if (!commandLine.WritesToStandardOutput())
        return;
    if (!commandLine.dryRun && ::isatty(STDOUT_FILENO) == 1)
        throw Failure(ExitCode::Usage, "standard output is a terminal; send it to a file or a "
                                       "program, or name a file with -o");
    if (planned.size() > 1)
        throw Failure(ExitCode::Usage, "standard output takes one result, and there would be " +
                                           std::to_string(planned.size()) +
                                           "; choose one page with --pages");
}

void Batch::Convert(Document& document)
{
    if (!commandLine.dryRun)
        document.Convert(planned);
    const QStringList paths = document.Paths();
    bool isWritten = false;
    if (!commandLine.WritesToStandardOutput())
        isWritten = report.Results(paths);
    else if (commandLine.dryRun)
        isWritten = report.Results({QStringLiteral("-")});
    else
        isWritten = report.Content(paths.first());
    if (!isWritten)
        throw Failure(ExitCode::Output, document.GetInput().name.toStdString() +
                                            ": converted, but standard output did not take it");
}

/** Takes one step with an input; false when it failed, which is reported. */
bool Batch::Attempt(const Input& input, const std::function<void()>& step)
{
    try {
        step();
        return true;
    } catch (const Failure& failure) {
        report.Complain(failure.what());
        failures.push_back(failure.code);
    } catch (const Interrupted&) {
        throw Interrupted(input.name.toStdString() + ": interrupted");
    } catch (const std::exception& error) {
        report.Complain(input.name.toStdString() + ": unexpected error: " + error.what());
        failures.push_back(ExitCode::Internal);
    }
    return false;
}

ExitCode Batch::Code(std::size_t inputs) const
{
    if (failures.empty())
        return report.Warnings() > 0 && !commandLine.warningsAreFine ? ExitCode::Warnings
                                                                     : ExitCode::Done;
    const bool allAlike =
        failures.size() == inputs &&
        std::count(failures.begin(), failures.end(), failures.front()) == std::ptrdiff_t(inputs);
    return allAlike ? failures.front() : ExitCode::PartlyFailed;
}

} // namespace Korvel::App
