#include "Conversion.h"

#include "Console.h"
#include "ConverterFactory.h"
#include "FailureMessages.h"
#include "Interruption.h"
#include "Journal.h"
#include "LocalFileSystem.h"
#include "LookOptions.h"
#include "MergeTask.h"
#include "Options.h"
#include "PageFanOut.h"
#include "PageRanges.h"
#include "Planner.h"
#include "ResultFileSystem.h"
#include "TextFrame.h"
#include "WorkerConverter.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include <QFileInfo>
#include <QPointer>

#include <unistd.h>

namespace Korvel::App {

using PDF::Converter::AbstractConverter;
using PDF::Converter::OnTextReport;
using PDF::Converter::PageFanOut;
using PDF::Converter::TextReport;
using PDF::Converter::WorkerConverter;

namespace {

/**
 * How often a result is moved for whose place another program was quicker each time. Each of them
 * has put a file there, so only a file system that tells no truth comes to an end here.
 */
constexpr int mostMoves = 1000;

/** "page 3", or "pages 1-4, 7". */
std::string ListedPages(std::vector<int> pages)
{
    std::sort(pages.begin(), pages.end());
    std::string text = pages.size() == 1 ? "page " : "pages ";
    for (std::size_t first = 0; first < pages.size();) {
        std::size_t last = first;
        while (last + 1 < pages.size() && pages[last + 1] == pages[last] + 1)
            ++last;
        text += (first == 0 ? "" : ", ") + std::to_string(pages[first]);
        if (last > first)
            text += '-' + std::to_string(pages[last]);
        first = last + 1;
    }
    return text;
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
    Later([this] { Begin(); });
}

/** Takes a step from the event loop; what it throws ends the conversion. */
void Conversion::Later(const std::function<void()>& step)
{
    const auto take = [this, step] {
        const QPointer<QObject> self(&context);
        try {
            step();
        } catch (...) {
            if (!self)
                throw; // it was told already how it has ended
            End(std::current_exception());
        }
    };
    QMetaObject::invokeMethod(&context, take, Qt::QueuedConnection);
}

void Conversion::End(const std::exception_ptr& failure)
{
    chain.reset();
    for (Document* const source : planned.All())
        source->ForgetPassword();
    run.console.End(work);
    if (!failure)
        TellTextReport();
    if (!failure)
        run.journal.Done(document.Name(), ResultsOf(results), double(sinceStart.elapsed()) / 1000,
                         document.Info().repaired, TellFailedPages());
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
    PrepareFolders();
    work = run.console.Begin(planned.Named().name, int(results.size()));
    StartChain();
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
            throw FailureIn(*source, failure);
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

/** Throws unless the documents are those that were opened. */
void Conversion::RequireSources() const
{
    for (const Document* const source : planned.All()) {
        if (!IsAsPlanned(*source))
            throw FailureIn(*source, ChangedFailure());
    }
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
Failure Conversion::FailureIn(const Document& source, const Failure& failure) const
{
    const std::string name = planned.whole ? source.Name().toStdString() + ": " : std::string();
    return {failure.code, failure.reason, name + failure.what()};
}

void Conversion::PrepareFolders() const
{
    std::string prepared;
    for (const PlannedResult& result : results) {
        const std::string folder = QFileInfo(result.path).path().toStdString();
        if (folder == prepared)
            continue;
        std::error_code problem;
        std::filesystem::create_directories(folder, problem);
        if (problem)
            throw Failure(ExitCode::Output, "cannot-write",
                          "cannot make the folder " + folder + ": " + problem.message());
        if (::access(folder.c_str(), W_OK | X_OK) != 0)
            throw Failure(ExitCode::Output, "cannot-write",
                          "cannot write into the folder " + folder + ": " + std::strerror(errno));
        run.journal.Keep(QString::fromStdString(folder));
        run.factory.SweepTarget(folder);
        prepared = folder;
    }
}

void Conversion::StartChain()
{
    run.interruption.Check(); // a chain that is made after a signal does not hear it
    chain = run.factory.MakeChain(results.size());
    ConnectToChain();
    QElapsedTimer copying;
    copying.start();
    const bool isStarted = chain->ConvertFile(MakeTask());
    run.factory.AddTimeHeldUp(std::chrono::milliseconds(copying.elapsed()));
    timeHeldUp = run.factory.TimeHeldUp(); // where its own copy counts
    if (!isStarted) {
        run.interruption.Check();
        RequireSources();
        throw CopyFailure();
    }
}

AbstractConverter::Task Conversion::MakeTask()
{
    const Options& options = run.options;
    AbstractConverter::Task task;
    task.type = planner.Format();
    task.destination = results.front().path;
    std::vector<PageFanOut::PageTask> pages;
    for (const PlannedResult& result : results)
        pages.push_back({result.page, result.path});
    task.options["page_tasks"] = pages;
    task.options["page_failed"] = PageFanOut::OnPageFailure(
        [this](const PageFanOut::PageFailure& failure) { failures.push_back(failure); });
    task.options["text_report"] = OnTextReport([this](const TextReport& report) {
        textReport.withoutText.insert(textReport.withoutText.end(), report.withoutText.begin(),
                                      report.withoutText.end());
        textReport.unmapped.insert(textReport.unmapped.end(), report.unmapped.begin(),
                                   report.unmapped.end());
    });
    task.options.merge(LookOptions(options.pages));
    if (options.output.isLinearized)
        task.options["linearize"] = true;
    if (planned.whole)
        MergeInto(task, planned, options.pages.ranges, run.factory);
    else
        AddSource(task);
    task.options["missing_page"] = WorkerConverter::OnPageFailed(
        [this](int page, AbstractConverter::ErrorType reason, const QString& why) {
            failures.push_back({page, reason, why});
        });
    return task;
}

/** Adds the one document, and the pages that a result of several is to have. */
void Conversion::AddSource(AbstractConverter::Task& task) const
{
    const std::string& ranges = run.options.pages.ranges;
    task.source = document.GetInput().path;
    if (document.NeedsCopy()) {
        task.options["need_export"] = true;
        task.options["password"] = document.Password();
    }
    const bool wantsSome = task.type == QLatin1String("pdf") && !ranges.empty();
    const bool joinsPictures = planner.MakesPictures() && results.front().page == 0;
    if (FindTextFrame(task.type) || wantsSome || joinsPictures)
        task.options["pages"] = PageRanges::Parse(ranges).Choose(document.Info().pages);
}

/** Why there is no copy of the document without encryption or damage. */
Failure Conversion::CopyFailure() const
{
    PDF::WorkerPdfProvider& provider = run.factory.PdfProvider();
    const ioPath source(document.GetInput().path.toStdString());
    if (provider.WhyOpenFailed(source) != PDF::OpenFailure::None)
        return run.factory.WhyNotOpened(source.utf8string());
    return FailureOf(provider.WhySaveFailed(source));
}

void Conversion::ConnectToChain()
{
    AbstractConverter* const sender = chain.get();
    if (const double timeout = run.options.run.timeout; timeout > 0) {
        QObject::connect(&alarm, &QTimer::timeout, sender, [this] { TimeIsUp(); });
        alarm.setSingleShot(true);
        alarm.start(int(timeout * 1000));
    }
    QObject::connect(
        sender, &AbstractConverter::ConvertationProgress, &context,
        [this](const QString&, double progress) { run.console.Progress(work, progress); });
    // The chain is in the middle of its work, and is destroyed by what comes later.
    QObject::connect(sender, &AbstractConverter::Failed, &context,
                     [this](const QString&, AbstractConverter::ErrorType reason) {
                         error = reason;
                         Later([this] { Finish(); });
                     });
    QObject::connect(sender, qOverload<const QString&, QStringList>(&AbstractConverter::Finished),
                     &context, [this](const QString&, const QStringList& made) {
                         paths = made;
                         Later([this] { Finish(); });
                     });
}

/** Time in which copies of other documents kept this one from going on is given back to it. */
void Conversion::TimeIsUp()
{
    const auto before = std::exchange(timeHeldUp, run.factory.TimeHeldUp());
    if (timeHeldUp > before) {
        alarm.start(timeHeldUp - before);
        return;
    }
    isLate = true;
    chain->CancelConvertation();
}

/** Takes the final paths of what was made; what other programs were quicker with goes elsewhere. */
void Conversion::Finish()
{
    RequireSources();
    const QStringList made = MadePaths();
    std::vector<PlannedResult*> refused;
    for (std::size_t i = 0; i < results.size(); ++i) {
        PlannedResult& result = results[i];
        const QString place = std::exchange(result.path, made.value(int(i)));
        if (HasFailed(result.page)) {
            lacking.push_back({result.page, place});
            continue;
        }
        if (!result.path.isEmpty()) {
            CheckResult(result);
        } else if (IsToGoElsewhere(place)) {
            result.path = place;
            refused.push_back(&result);
        }
    }
    MoveElsewhere(std::move(refused));
    End(nullptr);
}

/** Throws where the chain did not come to them. */
QStringList Conversion::MadePaths() const
{
    if (paths)
        return *paths;
    run.interruption.Check();
    if (isLate)
        throw Failure(ExitCode::TimedOut, "timed-out",
                      "takes longer than --timeout allows; its finished pages are there");
    if (!failures.empty() && failures.front().error == error)
        throw WhyFailed(failures.front()); // as no page is left
    throw run.factory.WhyNotConverted(error.value_or(AbstractConverter::Unknown),
                                      results.front().page > 0 ? "a page" : "the document",
                                      planner.MakesPictures(), {});
}

Failure Conversion::WhyFailed(const PageFanOut::PageFailure& page) const
{
    const std::string number = "page " + std::to_string(page.page);
    const std::string what = page.page == 0            ? "the document"
                             : planner.MakesPictures() ? number
                                                       : "the text of " + number;
    return run.factory.WhyNotConverted(page.error, what, planner.MakesPictures(),
                                       page.why.toStdString());
}

bool Conversion::HasFailed(int page) const
{
    return std::any_of(failures.begin(), failures.end(),
                       [page](const auto& failure) { return failure.page == page; });
}

/** Warns of the pages that are missing; as the journal writes them. */
QJsonArray Conversion::TellFailedPages() const
{
    QJsonArray pages;
    for (const PageFanOut::PageFailure& page : failures) {
        const Failure why = WhyFailed(page);
        run.console.Warn(planned.Named().name, why.reason, why.what(), page.page);
        pages.append(QJsonObject{{"page", page.page},
                                 {"reason", QString::fromLatin1(why.reason)},
                                 {"message", QString::fromStdString(why.what())}});
    }
    return pages;
}

/** Warns of pages whose text is missing, or is none, once for all of them. */
void Conversion::TellTextReport() const
{
    if (!textReport.withoutText.empty())
        run.console.Warn(document.Name(), "no-text",
                         "no text is drawn on " + ListedPages(textReport.withoutText) +
                             "; pictures of text are scans, and want recognition first");
    if (!textReport.unmapped.empty())
        run.console.Warn(document.Name(), "unmapped-text",
                         "fonts do not say which characters they draw on " +
                             ListedPages(textReport.unmapped) + "; their text is not to be used");
}

/** Some file systems take a file and then have no space for what is in it. */
void Conversion::CheckResult(const PlannedResult& result) const
{
    if (QFileInfo(result.path).size() == 0)
        throw Failure(ExitCode::Output, "cannot-write",
                      "its result " + result.path.toStdString() + " is missing or empty");
}

/** A result that cannot be moved to `path`, for a reason that is no file there. */
Failure Conversion::NotWritten(const QString& path) const
{
    const QFileInfo there(path);
    const std::string why = run.factory.Results().WhyRefused(ioPath(path.toStdString()));
    const bool isFolder = there.isDir() && !there.isSymLink();
    return {ExitCode::Output, "cannot-write",
            "cannot write " + path.toStdString() +
                (isFolder      ? "; a folder has that name"
                 : why.empty() ? std::string()
                               : ": " + why)};
}

/** Whether a result that could not be moved to `path` is to go elsewhere; false when to nowhere. */
bool Conversion::IsToGoElsewhere(const QString& path) const
{
    const OnExists onExists = run.options.output.onExists;
    const bool isTaken =
        !run.journal.HasPlaced(path) && run.factory.FileSystem().Exists(ioPath(path.toStdString()));
    if (!isTaken || onExists == OnExists::Overwrite)
        throw NotWritten(path);
    if (onExists == OnExists::Fail)
        throw ExistsFailure(path);
    return onExists == OnExists::Number;
}

/** Moves results to places chosen anew; they lie where they were made as long as the chain lives.
 */
void Conversion::MoveElsewhere(std::vector<PlannedResult*> refused)
{
    for (int move = 0; !refused.empty(); ++move) {
        run.interruption.Check();
        if (move == mostMoves)
            throw Failure(ExitCode::Output, "cannot-write",
                          "cannot write " + refused.front()->wanted.toStdString() +
                              "; other programs keep taking the name");
        QStringList taken;
        for (PlannedResult* const result : refused) {
            taken.append(result->path);
            planner.PlanAnew(*result, document.Name());
        }
        std::vector<Result> plan = ResultsOf(results);
        plan.insert(plan.end(), lacking.begin(), lacking.end());
        run.journal.PlannedAnew(document.Name(), plan);
        std::vector<PlannedResult*> again;
        for (PlannedResult* const result : refused) {
            const ioPath from(taken.takeFirst().toStdString());
            if (run.factory.Results().MoveElsewhere(from, ioPath(result->path.toStdString())))
                CheckResult(*result);
            else if (IsToGoElsewhere(result->path))
                again.push_back(result);
        }
        refused = again;
    }
}

} // namespace Korvel::App
