#include "Batch.h"

#include "Console.h"
#include "Conversions.h"
#include "FailureMessages.h"
#include "Inputs.h"
#include "Interruption.h"
#include "Options.h"
#include "PageRanges.h"
#include "Passwords.h"
#include "Terminal.h"
#include "WorkerPdfProvider.h"

#include <algorithm>
#include <utility>

#include <QFileInfo>
#include <QSet>

#include <unistd.h>

namespace Korvel::App {

namespace {

/** How many documents are to do: each counts once, and a folder that cannot be read is none. */
std::size_t CountToDo(const std::vector<Input>& inputs, const Journal& journal)
{
    QSet<QString> names;
    for (const Input& input : inputs) {
        if (!input.isFolder && (!input.problem.empty() || journal.IsToDo(input.name)))
            names.insert(input.name);
    }
    return std::size_t(names.size());
}

} // namespace

Batch::Batch(const Options& options, Console& console, Interruption& interruption)
    : options(options),
      console(console),
      interruption(interruption),
      journal(options.journal, options.output, options.pages),
      passwords(ReadPasswords()),
      factory(options.run, options.output.onExists, interruption, *passwords, journal),
      run{options, interruption, console, journal, factory}
{
    factory.whenEndingAtOnce = [this] {
        TellEndingAtOnce();
    };
    journal.Begin(QFileInfo(QString::fromStdString(factory.TempFolder())).fileName());
}

Batch::~Batch() = default;

std::unique_ptr<Passwords> Batch::ReadPasswords()
{
    try {
        return std::make_unique<Passwords>(options.passwords, interruption);
    } catch (const Interrupted&) {
        TellInterruption({});
        throw;
    }
}

ExitCode Batch::Convert()
{
    try {
        const ExitCode code = ConvertInputs();
        journal.End(int(code));
        return code;
    } catch (const Interrupted&) {
        if (!isInterrupted)
            TellInterruption(inWork);
        journal.End(128 + interruption.Signal());
        throw;
    } catch (const Failure& failure) {
        journal.End(int(failure.code));
        throw;
    }
}

ExitCode Batch::ConvertInputs()
{
    SayWhatToKnow();
    inputs = Collect();
    if (!journal.IsOff())
        journal.Given(CountToDo(inputs, journal));
    PrepareToOpen();
    if (!convertsMeanwhile)
        OpenAndPlanAll();
    CheckStandardOutput();
    journal.Check(); // nothing is made without it
    if (options.run.isDry || options.run.inspects)
        TellOnly();
    else
        ConvertAll();
    journal.Check();
    return Code();
}

void Batch::SayWhatToKnow()
{
    if (const std::string damage = journal.Damage(); !damage.empty())
        console.Warn(QString::fromStdString(options.journal.path), "journal-damaged", damage);
    if (options.passwords.password)
        console.Note("other users of this machine can see a password on the command line; "
                     "--password-file keeps it from them");
    if (options.run.keepsTemporaries)
        console.Note(
            "temporary files stay in " + factory.TempFolder() +
            " and show what encrypted documents say; remove that folder when you are done");
}

std::vector<Input> Batch::Collect()
{
    std::function<std::string()> makeFolder;
    if (options.journal.path.empty()) // what has come through a pipe could not be read again
        makeFolder = [this] {
            return factory.MakePrivateFolder();
        };
    return CollectInputs(
        options.input, makeFolder, [this](const std::string& note) { console.Note(note); },
        interruption);
}

void Batch::PrepareToOpen()
{
    using Next = ConverterFactory::Next;
    tally.inputs = inputs.size();
    next = inputs.cbegin();
    if (!options.run.inspects)
        planner = std::make_unique<Planner>(run, inputs);
    convertsMeanwhile = CanConvertMeanwhile();
    factory.PrepareWorkers(inputs.size(), options.run.isDry || options.run.inspects ? Next::Open
                                          : convertsMeanwhile ? Next::ConvertMeanwhile
                                                              : Next::ConvertAfterwards);
}

/**
 * Whether documents may be converted while others are still to be opened: not where one of them may
 * keep all others from being converted, where a result may be read as an input, or where passwords
 * would be held meanwhile, or asked for in the middle of the work.
 */
bool Batch::CanConvertMeanwhile() const
{
    const OutputOptions& output = options.output;
    return inputs.size() > 1 && planner && planner->DrawsPages() && !options.run.isDry &&
           !options.run.failsFast && !output.merges && !output.IsStandardOutput() &&
           !passwords->MayBeUsed();
}

void Batch::OpenAndPlanAll()
{
    while (BeginNext()) {
        if (FindsNoRoom())
            continue;
        auto document = OpenAndPlan();
        if (document) {
            documents.push_back(std::move(*document));
        } else if (options.run.failsFast) {
            documents.clear();
            begun.clear();
            next = inputs.cend();
        }
    }
    if (options.output.merges && !documents.empty())
        Merge();
    passwords.reset();
}

std::optional<PlannedDocument> Batch::Next(bool mayWait)
{
    return convertsMeanwhile ? OpenAndPlanNext(mayWait) : TakePlanned();
}

bool Batch::IsAtEnd() const
{
    return documents.empty() && begun.empty() && next == inputs.cend();
}

std::optional<PlannedDocument> Batch::TakePlanned()
{
    if (documents.empty())
        return std::nullopt;
    PlannedDocument first = std::move(documents.front());
    documents.pop_front();
    return first;
}

std::optional<PlannedDocument> Batch::OpenAndPlanNext(bool mayWait)
{
    std::optional<PlannedDocument> document;
    while (!document && (mayWait || !lacksRoom)) {
        if (lacksRoom)
            factory.LendWorker();
        if (!BeginNext() || (!mayWait && begun.front()->IsWaitedFor()))
            break;
        if (!FindsNoRoom())
            document = OpenAndPlan();
    }
    if (document && !lacksRoom)
        BeginNext(); // which is opened meanwhile
    if (document)
        ExpectThoseToCome(*document);
    return document;
}

/** By those that were planned so far. */
void Batch::ExpectThoseToCome(const PlannedDocument& document)
{
    plannedResults += document.results.size();
    ++plannedDocuments;
    const std::size_t toCome = begun.size() + std::size_t(inputs.cend() - next);
    console.Expect(int(plannedDocuments + toCome),
                   int(plannedResults + toCome * plannedResults / plannedDocuments));
}

/** Says once in a run that the machine lacks what confines workers most. */
void Batch::TellMissingFilters()
{
    const QStringList missing = factory.MissingFilters();
    if (missing.isEmpty() || std::exchange(hasToldMissingFilters, true))
        return;
    console.Note("unconfined",
                 "not in force here: " + missing.join(", ").toStdString() +
                     "; a document that took its worker over could do more than be converted "
                     "(--require-sandbox converts nothing then)");
}

/**
 * Has as many documents being opened as are converted at once or, while that many are, half as
 * many; false when none is left.
 */
bool Batch::BeginNext()
{
    const std::size_t jobs = factory.Jobs();
    const std::size_t isUsed = convertsMeanwhile ? std::min(plannedDocuments, jobs / 2) : 0;
    const std::size_t most = lacksRoom ? 1 : jobs - isUsed;
    for (; next != inputs.cend() && begun.size() < most; ++next) {
        if (!IsToDo(*next))
            continue;
        // Passwords come straight to the heap: nobody clears what is left of one on the stack.
        begun.push_back(std::make_unique<Document>(*next));
        begun.back()->Begin(*passwords, factory);
    }
    return !begun.empty();
}

/**
 * Whether it turns out that the machine has no room for one more worker. From then on documents are
 * opened one after another.
 */
bool Batch::FindsNoRoom()
{
    if (lacksRoom || !begun.front()->LacksWorker(factory))
        return false;
    lacksRoom = true;
    for (const std::unique_ptr<Document>& document : begun)
        document->GiveUp(factory);
    return true;
}

/** Opens and plans the first of those that were begun; nothing when that fails. */
std::optional<PlannedDocument> Batch::OpenAndPlan()
{
    PlannedDocument document{std::move(begun.front()), {}};
    const Input& input = document.Named();
    const auto open = [&] {
        interruption.Check();
        document.document->Open(*passwords, factory);
    };
    const auto plan = [&] {
        if (document.document->Info().repaired)
            console.WarnOfRepair(input.name);
        document.results = Plan(*document.document);
    };
    const bool isOpened = Attempt(input, open, &Console::NotPlanned);
    console.DrawnBy(factory.PdfProvider().Engine());
    if (isOpened && planner && planner->DrawsPages())
        journal.UseEngine(factory.PdfProvider().Engine(), options.run.engine.has_value());
    const bool isPlanned = isOpened && Attempt(input, plan, &Console::NotPlanned);
    begun.pop_front(); // not before: where a signal comes it counts as not begun
    TellMissingFilters();
    return isPlanned ? std::optional(std::move(document)) : std::nullopt;
}

/** What of the document is planned by itself: nothing where it is merged, or nothing is made. */
std::vector<PlannedResult> Batch::Plan(const Document& document)
{
    if (planner && !options.output.merges)
        return planner->Plan(document);
    if (options.output.merges)
        PageRanges::Parse(options.pages.ranges).Choose(document.Info().pages);
    return {};
}

/** Makes one of all documents, or none where one of them has failed. */
void Batch::Merge()
{
    std::deque<PlannedDocument> all = std::exchange(documents, {});
    if (!tally.failures.empty())
        return;
    PlannedDocument merged = std::move(all.front());
    const std::string& path = options.output.path;
    merged.whole = Input();
    merged.whole->name =
        options.output.IsStandardOutput() ? "standard output" : QString::fromStdString(path);
    for (auto one = all.begin() + 1; one != all.end(); ++one)
        merged.further.push_back(std::move(one->document));
    Attempt(
        *merged.whole,
        [&] {
            merged.results = planner->Plan(*merged.document);
            documents.push_back(std::move(merged));
        },
        &Console::Failed);
}

/** Takes an input up; false when an earlier run, or this one, has done so to an end. */
bool Batch::IsToDo(const Input& input)
{
    if (!input.problem.empty())
        return true;
    const Journal::Standing standing = journal.Take(input.name);
    tally.convertedBefore += standing == Journal::Standing::Done ? 1 : 0;
    tally.failedBefore += standing == Journal::Standing::Failed ? 1 : 0;
    return standing == Journal::Standing::ToDo;
}

void Batch::CheckStandardOutput() const
{
    if (!planner || !options.output.IsStandardOutput())
        return;
    if (!options.run.isDry && Terminal(STDOUT_FILENO).IsOne())
        throw Failure(ExitCode::Usage, "usage",
                      "standard output is a terminal; send it to a file or a "
                      "program, or name a file with -o");
    if (documents.size() > 1)
        throw Failure(ExitCode::Usage, "usage",
                      "standard output takes one result, and there are " +
                          std::to_string(documents.size()) +
                          " documents; put their results into a folder with -d");
    if (planner->Count() > 1)
        throw Failure(ExitCode::Usage, "usage",
                      "standard output takes one result, and there would be " +
                          std::to_string(planner->Count()) + "; choose one page with --pages");
}

/** Tells what a run that converts nothing has found out. */
void Batch::TellOnly()
{
    for (const PlannedDocument& planned : documents) {
        interruption.Check();
        const bool isTold = Attempt(
            planned.Named(), [&] { TellResults(planned); }, &Console::Failed);
        if (!journal.IsSound() || (!isTold && options.run.failsFast))
            break;
    }
    interruption.Check();
}

void Batch::ConvertAll()
{
    std::size_t expected = 0;
    for (const PlannedDocument& document : documents)
        expected += document.results.size();
    console.Expect(int(documents.size()), int(expected));
    Conversions conversions(run, *planner, *this, [this](const auto& planned, const auto& failure) {
        return Tell(planned, failure);
    });
    conversions.ConvertAll();
    if (isInterrupted)
        interruption.Check();
    if (tally.inputs > 1 || tally.skipped > 0)
        console.Note(tally.Summary());
}

/** Tells what has come of a document; false when it has failed. */
bool Batch::Tell(const PlannedDocument& planned, const std::exception_ptr& failure)
{
    const Input& input = planned.Named();
    try {
        return Attempt(
            input,
            [&] {
                if (failure)
                    std::rethrow_exception(failure);
                TellResults(planned);
                (planned.results.empty() ? tally.skipped : tally.converted) += planned.All().size();
            },
            &Console::Failed);
    } catch (const Interrupted&) {
        isInterrupted = true;
        TellInterruption(input.name);
        return false;
    }
}

/** Tells of a document's results, or of what there is in place of them. */
void Batch::TellResults(const PlannedDocument& planned)
{
    if (WriteResults(planned))
        return;
    interruption.Check();
    throw StandardOutputFailure();
}

bool Batch::WriteResults(const PlannedDocument& planned)
{
    const QString& name = planned.Named().name;
    const QStringList merged = planned.MergedNames();
    if (options.run.inspects)
        return console.Describe(name, planned.document->Info());
    const std::vector<Result> results = ResultsOf(planned.results);
    if (!options.output.IsStandardOutput())
        return options.run.isDry ? console.Planned(name, results, merged)
                                 : console.Finished(name, results, merged);
    if (options.run.isDry)
        return console.Planned(name, {{0, "-"}}, merged);
    return console.Content(name, results.front().path);
}

/** Takes one step with an input; false when it failed, which is reported. */
bool Batch::Attempt(const Input& input, const std::function<void()>& step, Report report)
{
    inWork = input.name;
    try {
        step();
        inWork.clear();
        return true;
    } catch (const Failure& failure) {
        Fail(input, failure, report);
    } catch (const Interrupted&) {
        throw;
    } catch (const std::exception& error) {
        Fail(input,
             Failure(ExitCode::Internal, "internal",
                     std::string("unexpected error: ") + error.what()),
             report);
    }
    inWork.clear();
    return false;
}

void Batch::Fail(const Input& input, const Failure& failure, Report report)
{
    if (IsOfMachine(failure))
        lacksWorkers = true;  // the same command goes on where the machine has room again
    else if (!input.isFolder) // what is in it is looked for by each run
        journal.Failed(input.name, failure.reason, failure.what());
    (console.*report)(input.name, failure);
    tally.failures.push_back(failure.code);
}

/** On a terminal, what the second Ctrl+C has left of the line is ended with it. */
void Batch::TellEndingAtOnce()
{
    console.Note("ends at once");
}

void Batch::TellInterruption(const QString& name)
{
    console.Failed(name, Failure(ExitCode::Internal, "interrupted", Interrupted().what()));
}

ExitCode Batch::Code() const
{
    if (lacksWorkers)
        return ExitCode::Internal;
    if (journal.HasFailed())
        return ExitCode::PartlyFailed;
    if (!tally.failures.empty() && options.output.merges)
        return tally.failures.front();
    if (!tally.failures.empty())
        return journal.IsOff() ? tally.CodeOfFailures() : ExitCode::PartlyFailed;
    const bool lacksPages = console.FailedPages() > 0 || journal.HasFailedPages();
    if (lacksPages && options.run.isStrict)
        return ExitCode::Conversion;
    const bool hasWarned = console.Warnings() > 0 || journal.HasRepaired() || lacksPages;
    return hasWarned && !options.run.warningsAreFine ? ExitCode::Warnings : ExitCode::Done;
}

} // namespace Korvel::App
