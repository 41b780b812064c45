#include "Conversion.h"

#include "Console.h"
#include "FailureMessages.h"
#include "Interruption.h"
#include "Journal.h"
#include "LocalFileSystem.h"
#include "LookOptions.h"
#include "Options.h"
#include "PageRanges.h"
#include "Planner.h"
#include "TextFrame.h"
#include "WorkerConverter.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include <QPointer>

namespace Korvel::App {

namespace {

Failure LateFailure()
{
    return {ExitCode::TimedOut, "timed-out",
            "takes longer than --timeout allows; its finished pages are there"};
}

} // namespace

Conversion::Conversion(const Run& run, Planner& planner, PlannedDocument& planned)
    : run(run),
      planner(planner),
      planned(planned),
      document(*planned.document),
      results(planned.results)
{
}

void Conversion::Start(Receiver whenEnded)
{
    ended = std::move(whenEnded);
    sinceStart.start();
    const auto begin = [this] {
        Take([this] { Begin(); });
    };
    QMetaObject::invokeMethod(&context, begin, Qt::QueuedConnection);
}

/** Takes a step; what it throws ends the conversion. */
void Conversion::Take(const std::function<void()>& step)
{
    const QPointer<QObject> self(&context);
    try {
        step();
    } catch (...) {
        if (!self)
            throw; // it was told already how it has ended
        End(std::current_exception());
    }
}

void Conversion::End(const std::exception_ptr& failure, const Outcome& outcome)
{
    alarm.stop();
    chain.reset();
    copies.clear();
    for (Document* const source : planned.All())
        source->ForgetPassword();
    run.console.End(work);
    for (const auto& note : outcome.notes)
        Warn(note);
    if (!failure)
        run.journal.Done(document.Name(), ResultsOf(results), double(sinceStart.elapsed()) / 1000,
                         document.Info().repaired, TellFailedPages(outcome.failures));
    const Receiver receiver = std::move(ended);
    receiver(failure); // which may destroy this
}

void Conversion::Begin()
{
    if (!results.empty())
        TakeUpChanges();
    if (results.empty()) {
        End(nullptr);
        return;
    }
    for (const QString& folder : run.factory.PrepareFolders(results))
        run.journal.Keep(folder);
    work = run.console.Begin(planned.Named().name, int(results.size()));
    StartAlarm();
    CopySources();
}

/** Opens sources anew that have changed since they were, and plans what is made of them. */
void Conversion::TakeUpChanges()
{
    bool isPlanned = true;
    for (Document* const source : planned.All()) {
        if (IsAsPlanned(*source))
            continue;
        try {
            source->OpenAnew(run.factory);
        } catch (const Failure& failure) {
            throw FailureIn(source->Name(), failure);
        }
        if (source->Info().repaired)
            run.console.WarnOfRepair(source->Name());
        isPlanned = planned.whole.has_value(); // which is one result, whatever is in it
    }
    if (isPlanned)
        return;
    results = planner.PlanAnew(document, results);
    if (run.options.output.IsStandardOutput() && results.size() > 1)
        throw ChangedFailure();
}

QString Conversion::ChangedSource() const
{
    for (const Document* const source : planned.All()) {
        if (!IsAsPlanned(*source))
            return source->Name();
    }
    return {};
}

/** Whether the document is the one that was opened, or was replaced by its own result. */
bool Conversion::IsAsPlanned(const Document& source) const
{
    const std::string path = source.GetInput().path.toStdString();
    const auto hasReplacedIt = [&path](const PlannedResult& result) {
        std::error_code ignored;
        return std::filesystem::equivalent(result.wanted.toStdString(), path, ignored);
    };
    return source.IsUnchanged() || std::any_of(results.begin(), results.end(), hasReplacedIt);
}

/** The failure of a source, which is named where there are several. */
Failure Conversion::FailureIn(const QString& source, const Failure& failure) const
{
    const std::string name = planned.whole ? source.toStdString() + ": " : std::string();
    return {failure.code, failure.reason, name + failure.what()};
}

/** Has those copied that are encrypted or damaged, one after the other, and then converts. */
void Conversion::CopySources()
{
    run.interruption.Check(); // a chain that is made after a signal does not hear it
    const std::size_t sources = planned.All().size();
    while (copies.size() < sources && !ToCopy().NeedsCopy())
        copies.push_back(nullptr);
    if (copies.size() == sources) {
        StartChain();
        return;
    }
    const auto copied = [this, self = QPointer<QObject>(&context)](const auto& copy) {
        if (self)
            Take([&] { Copied(copy); });
    };
    run.factory.MakeCopy(ToCopy().GetInput().path, ToCopy().Password(), copied);
}

void Conversion::Copied(const ConverterFactory::Copy& copy)
{
    run.interruption.Check();
    if (copy && !isLate)
        copies.push_back(copy);
    else if (!isLate && LacksWorker() && !std::exchange(hasWaitedForWorker, true))
        run.factory.CopyOneByOne();
    else if (isLate && planned.whole)
        throw LateFailure(); // the time is that of all of them
    else
        throw FailureIn(ToCopy().Name(), WhyNotCopied());
    CopySources();
}

/**
 * Whether the machine had no room for a worker to make the copy. Reasons are told by the path, so
 * none is there where another conversion has opened the same file since.
 */
bool Conversion::LacksWorker() const
{
    const PDF::WorkerPdfProvider& provider = run.factory.PdfProvider();
    const ioPath file(ToCopy().GetInput().path.toStdString());
    const PDF::OpenFailure why = provider.WhyOpenFailed(file);
    return why == PDF::OpenFailure::NotStarted ||
           (why == PDF::OpenFailure::None &&
            provider.WhySaveFailed(file) == PDF::SaveFailure::None);
}

Failure Conversion::WhyNotCopied() const
{
    if (isLate)
        return FailureOf(PDF::SaveFailure::TimedOut);
    if (!IsAsPlanned(ToCopy()))
        return ChangedFailure();
    PDF::WorkerPdfProvider& provider = run.factory.PdfProvider();
    const ioPath file(ToCopy().GetInput().path.toStdString());
    return provider.WhyOpenFailed(file) == PDF::OpenFailure::None
               ? FailureOf(provider.WhySaveFailed(file))
               : run.factory.WhyNotOpened(file.utf8string());
}

void Conversion::StartChain()
{
    chain = run.factory.MakeChain(planned.whole ? nullptr : copies.front(), results, *this);
    if (!chain->Start(MakeTask()))
        throw FailureOf(PDF::SaveFailure::CannotWrite);
}

Conversion::Task Conversion::MakeTask() const
{
    const Options& options = run.options;
    Task task;
    task.type = planner.Format();
    task.options = LookOptions(options.pages);
    if (options.output.isLinearized)
        task.options["linearize"] = true;
    if (planned.whole)
        AddSources(task);
    else
        AddSource(task);
    return task;
}

/** Adds the one document, and the pages that a result of several is to have. */
void Conversion::AddSource(Task& task) const
{
    const std::string& ranges = run.options.pages.ranges;
    task.source = document.GetInput().path;
    if (copies.front())
        task.options["password"] = document.Password(); // of which the wrapper's record tells
    const bool wantsSome = task.type == QLatin1String("pdf") && !ranges.empty();
    const bool joinsPictures = planner.MakesPictures() && results.front().page == 0;
    if (FindTextFrame(task.type) || wantsSome || joinsPictures)
        task.options["pages"] = PageRanges::Parse(ranges).Choose(document.Info().pages);
}

/** Adds those that become one, or their copies. */
void Conversion::AddSources(Task& task) const
{
    const std::string& ranges = run.options.pages.ranges;
    std::vector<PDF::Converter::WorkerConverter::MergedSource> sources;
    for (const Document* const source : planned.All()) {
        const ConverterFactory::Copy& copy = copies[sources.size()];
        const int pages = source->Info().pages;
        sources.push_back(
            {copy ? QString::fromStdString(copy->path.utf8string()) : source->GetInput().path,
             ranges.empty() ? std::vector<int>() : PageRanges::Parse(ranges).Choose(pages)});
    }
    task.source = sources.front().source;
    if (!ranges.empty())
        task.options["pages"] = sources.front().pages;
    sources.erase(sources.begin());
    task.options["merge"] = sources;
}

void Conversion::StartAlarm()
{
    const double timeout = run.options.run.timeout;
    if (timeout <= 0)
        return;
    QObject::connect(&alarm, &QTimer::timeout, &context, [this] { TimeIsUp(); });
    alarm.setSingleShot(true);
    alarm.start(int(timeout * 1000));
}

void Conversion::TimeIsUp()
{
    isLate = true;
    if (chain)
        chain->Cancel();
    else
        run.factory.PdfProvider().GiveUp(ioPath(ToCopy().GetInput().path.toStdString()));
}

void Conversion::Progressed(double part)
{
    run.console.Progress(work, part);
}

bool Conversion::PlanAnew(PlannedResult& result)
{
    const OnExists onExists = run.options.output.onExists;
    const bool isTaken = IsTaken(result.path);
    if (isTaken && onExists == OnExists::Skip) {
        result.path.clear();
        return true;
    }
    if (!isTaken || onExists != OnExists::Number)
        return false;
    planner.PlanAnew(result, document.Name());
    run.journal.PlannedAnew(document.Name(), ResultsOf({result}).front());
    return true;
}

/** Leaves away what was not made, or is not wanted. */
void Conversion::Finish(const Outcome& outcome)
{
    if (outcome.error)
        throw WhyNotConverted(outcome);
    for (PlannedResult& result : results) {
        if (!result.isPlaced)
            result.path.clear();
    }
    End(nullptr, outcome);
}

/** @throws Interrupted  a signal has come, which ends what is being converted */
Failure Conversion::WhyNotConverted(const Outcome& outcome) const
{
    if (!outcome.changed.isNull())
        return FailureIn(outcome.changed, ChangedFailure());
    if (outcome.missing)
        return WhyMissing(*outcome.missing);
    run.interruption.Check();
    if (isLate)
        return LateFailure();
    if (outcome.page)
        return WhyFailed(*outcome.page);
    if (outcome.error == PDF::Converter::AbstractConverter::Unconfined)
        return UnconfinedFailure(outcome.whyNotStarted);
    if (!outcome.whyNotStarted.isEmpty())
        return NotStartedFailure(outcome.whyNotStarted);
    return FailureOf(*outcome.error, results.front().page > 0 ? "a page" : "the document",
                     planner.MakesPictures());
}

/** Why a result is nowhere that was made. */
Failure Conversion::WhyMissing(const PlannedResult& result) const
{
    using Refusal = PlannedResult::Refusal;
    const bool stays = run.options.output.onExists == OnExists::Fail;
    if (stays && result.refusal == Refusal::Taken && IsTaken(result.path))
        return ExistsFailure(result.path);
    return {ExitCode::Output, "cannot-write",
            (result.refusal == Refusal::Empty ? "its result " : "") +
                result.whyRefused.toStdString()};
}

Failure Conversion::WhyFailed(const PageFailure& page) const
{
    const std::string number = "page " + std::to_string(page.page);
    const std::string what = page.page == 0            ? "the document"
                             : planner.MakesPictures() ? number
                                                       : "the text of " + number;
    return FailureOf(page.error, what, planner.MakesPictures(), page.why.toStdString());
}

/** Warns of the pages that are missing; as the journal writes them. */
QJsonArray Conversion::TellFailedPages(const std::vector<PageFailure>& failures) const
{
    QJsonArray pages;
    for (const PageFailure& page : failures) {
        const Failure why = WhyFailed(page);
        run.console.Warn(planned.Named().name, why.reason, why.what(), page.page);
        pages.append(QJsonObject{{"page", page.page},
                                 {"reason", QString::fromLatin1(why.reason)},
                                 {"message", QString::fromStdString(why.what())}});
    }
    return pages;
}

void Conversion::Warn(const PDF::Converter::ConversionResult::Note& note) const
{
    const bool isMissing = note.warning == PDF::Converter::ConversionResult::Warning::NoText;
    run.console.Warn(document.Name(), isMissing ? "no-text" : "unmapped-text",
                     note.text.toStdString() +
                         (isMissing ? "; pictures of text are scans, and want recognition first"
                                    : "; their text is not to be used"));
}

/** Whether somebody else has put a file at the path of a result. */
bool Conversion::IsTaken(const QString& path) const
{
    return !run.journal.HasPlaced(path) &&
           run.factory.FileSystem().Exists(ioPath(path.toStdString()));
}

} // namespace Korvel::App
