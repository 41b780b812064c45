#include "Batch.h"

#include "Console.h"
#include "FailureMessages.h"
#include "Interruption.h"
#include "Passwords.h"

#include <algorithm>
#include <memory>
#include <optional>

#include <QFile>
#include <QFileInfo>

#include <unistd.h>

namespace Korvel::App {

Batch::Batch(const Options& options, Console& console, Interruption& interruption)
    : options(options),
      console(console),
      interruption(interruption),
      journal(options.journal.path.empty()
                  ? nullptr
                  : std::make_unique<Journal>(options.journal, options.output, options.pages)),
      factory(options.run, options.output.onExists, interruption, journal.get())
{
    if (journal)
        journal->Begin(QFileInfo(QString::fromStdString(factory.TempFolder())).fileName());
}

ExitCode Batch::Run()
{
    try {
        const ExitCode code = RunAll();
        End(int(code));
        return code;
    } catch (const Interrupted&) {
        if (!isInterrupted)
            ReportInterruption(inWork);
        End(128 + interruption.Signal());
        throw;
    } catch (const Failure& failure) {
        End(int(failure.code));
        throw;
    }
}

void Batch::End(int exitCode)
{
    if (journal)
        journal->End(exitCode);
}

ExitCode Batch::RunAll()
{
    if (options.passwords.password)
        console.Note("other users of this machine can see a password on the command line; "
                     "--password-file keeps it from them");
    if (options.run.keepsTemporaries)
        console.Note(
            "temporary files stay in " + factory.TempFolder() +
            " and show what encrypted documents say; remove that folder when you are done");
    const std::vector<Input> inputs = CollectInputs(
        options.input,
        options.input.ReadsStandardInput() ? factory.MakePrivateFolder() : std::string(),
        interruption);
    OpenAndPlan(inputs);
    CheckStandardOutput();
    if (journal)
        journal->Check(); // before anything is made
    if (options.run.isDry || options.run.inspects) {
        for (std::size_t next = 0; next < documents.size() && !IsToStop(); ++next)
            Attempt(documents[next]->GetInput(), [&] { Finish(*documents[next]); });
        interruption.Check();
    } else {
        ConvertAll();
        if (inputs.size() > 1)
            Summarize(inputs.size());
    }
    if (journal)
        journal->Check();
    return Code(inputs.size());
}

void Batch::ReportInterruption(const QString& name)
{
    console.Failed(name, Failure(ExitCode::Internal, "interrupted", Interrupted().what()));
}

/** Where the results go; in the session folder when it is standard output that wants them. */
OutputTemplate Batch::Output()
{
    const QString format = QString::fromStdString(options.output.format);
    if (!options.output.IsStandardOutput()) {
        const QString path = QString::fromStdString(options.output.path);
        const QFileInfo output(path);
        if (output.isDir() && !OutputTemplate::Formats().contains(output.suffix().toLower()))
            throw Failure(ExitCode::Usage, "usage",
                          options.output.path + " is a folder; put the results into it with -d");
        return OutputTemplate::Parse(path, format);
    }
    const QString folder = QString::fromStdString(factory.MakePrivateFolder());
    return OutputTemplate::Parse(QString(folder).replace(QLatin1Char('%'), QLatin1String("%%")) +
                                     QStringLiteral("/standard-output.") + format,
                                 format);
}

void Batch::OpenAndPlan(const std::vector<Input>& inputs)
{
    // Not on the stack, whose remains nobody clears.
    const auto passwords = std::make_unique<Passwords>(options.passwords, interruption);
    factory.PrepareWorkers(!options.run.isDry && !options.run.inspects);
    const auto output = options.run.inspects ? std::nullopt : std::optional(Output());
    FindSources(inputs);
    if (journal)
        planned = journal->ReleasePlanned();
    for (const Input& input : inputs) {
        if (!IsToDo(input))
            continue;
        auto document = std::make_unique<Document>(input, options, sources, factory, console);
        const bool isPlanned = Attempt(input, [&] {
            interruption.Check();
            document->Open(*passwords);
            if (output)
                Plan(*document, *output);
        });
        if (isPlanned) {
            documents.push_back(std::move(document));
        } else if (options.run.failsFast) {
            documents.clear();
            return;
        }
    }
}

/** Only of use where files are replaced. */
void Batch::FindSources(const std::vector<Input>& inputs)
{
    if (options.output.onExists != OnExists::Overwrite)
        return;
    for (const std::string& file :
         {options.journal.path, options.input.list, options.passwords.file, options.passwords.map})
        sources.Add(QString::fromStdString(file), QString::fromStdString(file));
    for (const Input& input : inputs)
        sources.Add(input.path, input.name);
}

/** Takes an input up; false when an earlier run, or this one, has done so to an end. */
bool Batch::IsToDo(const Input& input)
{
    if (!journal || !input.problem.empty())
        return true;
    const Journal::Standing standing = journal->Take(input.name);
    convertedBefore += standing == Journal::Standing::Done ? 1 : 0;
    failedBefore += standing == Journal::Standing::Failed ? 1 : 0;
    return standing == Journal::Standing::ToDo;
}

void Batch::Plan(Document& document, const OutputTemplate& output)
{
    const QString& name = document.GetInput().name;
    const int pages = document.Info().pages;
    auto earlier = journal ? journal->PlanOf(name) : std::nullopt;
    if (earlier && !document.CanHave(*earlier, output))
        earlier.reset();
    if (earlier && earlier->pages == pages) {
        document.Resume(*earlier, output);
    } else {
        if (earlier)
            GiveUp(*earlier);
        document.Plan(output, planned);
    }
    if (journal)
        journal->Planned(name, pages, document.Results());
}

/** Makes room for the plan of a document that is another one now. */
void Batch::GiveUp(const Journal::Plan& plan)
{
    for (const auto& [page, path] : plan.paths) {
        if (journal->HasPlaced(path))
            QFile::remove(path);
        planned.Remove(path);
    }
}

void Batch::CheckStandardOutput() const
{
    if (!options.output.IsStandardOutput())
        return;
    if (!options.run.isDry && ::isatty(STDOUT_FILENO) == 1)
        throw Failure(ExitCode::Usage, "usage",
                      "standard output is a terminal; send it to a file or a "
                      "program, or name a file with -o");
    if (planned.Count() > 1)
        throw Failure(ExitCode::Usage, "usage",
                      "standard output takes one result, and there would be " +
                          std::to_string(planned.Count()) + "; choose one page with --pages");
}

bool Batch::IsToStop() const
{
    return interruption.Signal() != 0 ||
           (options.run.failsFast && (hasAnyFailed || !failures.empty())) ||
           (journal && !journal->IsSound());
}

/** Converts what was opened and planned. */
void Batch::ConvertAll()
{
    std::size_t results = 0;
    for (const auto& document : documents)
        results += document->Results().size();
    console.Expect(int(documents.size()), int(results));
    StartDocuments();
    if (running > 0 && converting.exec() != 0)
        throw Failure(ExitCode::Internal, "internal",
                      "the work was broken off by an unexpected error (-v 1 tells more)");
    if (isInterrupted || started < documents.size())
        interruption.Check();
}

void Batch::StartDocuments()
{
    while (running < factory.Jobs() && started < documents.size() && !IsToStop()) {
        const std::size_t index = started++;
        ++running;
        documents[index]->Convert(planned, [this, index](const std::exception_ptr& failure) {
            DocumentEnded(index, failure);
        });
    }
    if (running == 0)
        converting.quit();
}

void Batch::DocumentEnded(std::size_t index, const std::exception_ptr& failure)
{
    --running;
    const Document& document = *documents[index];
    if (journal && !failure)
        journal->Done(document.GetInput().name, document.Results(), document.Seconds(),
                      document.Info().repaired);
    ended[index] = failure;
    hasAnyFailed = hasAnyFailed || failure;
    while (const auto next = ended.extract(reported))
        ReportDocument(*documents[reported++], next.mapped());
    StartDocuments();
}

void Batch::ReportDocument(const Document& document, const std::exception_ptr& failure)
{
    try {
        Attempt(document.GetInput(), [&] {
            if (failure)
                std::rethrow_exception(failure);
            Finish(document);
            ++converted;
        });
    } catch (const Interrupted&) {
        isInterrupted = true;
        ReportInterruption(document.GetInput().name);
    }
}

/** Tells of a document's results, or of what there is in place of them. */
void Batch::Finish(const Document& document)
{
    if (WriteResults(document))
        return;
    interruption.Check();
    throw StandardOutputFailure();
}

bool Batch::WriteResults(const Document& document)
{
    const QString& name = document.GetInput().name;
    if (options.run.inspects)
        return console.Describe(name, document.Info());
    if (!options.output.IsStandardOutput())
        return options.run.isDry ? console.Planned(name, document.Results())
                                 : console.Finished(name, document.Results());
    if (options.run.isDry)
        return console.Planned(name, {{0, QStringLiteral("-")}});
    return console.Content(name, document.Results().front().path);
}

void Batch::Summarize(std::size_t inputs)
{
    std::string summary =
        std::to_string(converted) + " of " + std::to_string(inputs) + " documents converted";
    if (convertedBefore > 0)
        summary += ", " + std::to_string(convertedBefore) + " were before";
    if (!failures.empty())
        summary += ", " + std::to_string(failures.size()) + " failed";
    if (failedBefore > 0)
        summary += ", " + std::to_string(failedBefore) +
                   " had failed before (--retry-failed takes them again)";
    console.Note(summary);
}

/** Takes one step with an input; false when it failed, which is reported. */
bool Batch::Attempt(const Input& input, const std::function<void()>& step)
{
    inWork = input.name;
    try {
        step();
        inWork.clear();
        return true;
    } catch (const Failure& failure) {
        Fail(input, failure);
    } catch (const Interrupted&) {
        throw;
    } catch (const std::exception& error) {
        Fail(input, Failure(ExitCode::Internal, "internal",
                            std::string("unexpected error: ") + error.what()));
    }
    inWork.clear();
    return false;
}

void Batch::Fail(const Input& input, const Failure& failure)
{
    if (journal)
        journal->Failed(input.name, failure.reason, failure.what());
    console.Failed(input.name, failure);
    failures.push_back(failure.code);
}

ExitCode Batch::Code(std::size_t inputs) const
{
    if (journal && (journal->HasFailed() || !failures.empty()))
        return ExitCode::PartlyFailed;
    const bool hasWarned = console.Warnings() > 0 || (journal && journal->HasRepaired());
    if (failures.empty())
        return hasWarned && !options.run.warningsAreFine ? ExitCode::Warnings : ExitCode::Done;
    const bool allAlike =
        failures.size() == inputs &&
        std::count(failures.begin(), failures.end(), failures.front()) == std::ptrdiff_t(inputs);
    return allAlike ? failures.front() : ExitCode::PartlyFailed;
}

} // namespace Korvel::App
