#include "Conversion.h"

#include "ConverterFactory.h"
#include "FailureMessages.h"
#include "Journal.h"
#include "LocalFileSystem.h"
#include "PageFanOut.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include <QElapsedTimer>
#include <QFileInfo>
#include <QPointer>

#include <unistd.h>

namespace Korvel::App {

using PDF::Converter::AbstractConverter;
using PDF::Converter::PageFanOut;

namespace {

/** How often a result is converted for whose path another program was quicker each time. */
constexpr int mostRounds = 5;

/** What is the matter with a result's path, as far as one can see. */
const char* WhyNotWritten(const QString& path)
{
    const QFileInfo there(path);
    return there.isDir() && !there.isSymLink() ? "a folder has that name" : "is there space left?";
}

} // namespace

Conversion::Conversion(Task task, const QString& name, std::vector<PlannedResult>& results,
                       PlannedPaths& planned, const Options& options, ConverterFactory& factory,
                       Console& console)
    : task(std::move(task)),
      name(name),
      results(results),
      planned(planned),
      options(options),
      factory(factory),
      console(console)
{
}

void Conversion::Start(Receiver whenEnded)
{
    ended = std::move(whenEnded);
    for (PlannedResult& result : results)
        left.push_back(&result);
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
    console.End(work);
    const Receiver receiver = std::move(ended);
    receiver(failure); // which may destroy this
}

void Conversion::Begin()
{
    if (results.empty()) {
        End(nullptr);
        return;
    }
    PrepareFolders();
    work = console.Begin(name, int(results.size()));
    StartRound();
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
        prepared = folder;
    }
}

/** Some file systems take a file and then have no space for what is in it. */
void Conversion::CheckResult(const PlannedResult& result) const
{
    if (QFileInfo(result.path).size() == 0)
        throw Failure(ExitCode::Output, "cannot-write",
                      "its result " + result.path.toStdString() + " is missing or empty");
}

/** One way through a fresh chain for all that is left. */
void Conversion::StartRound()
{
    factory.CheckForSignal(); // which no chain hears that is made after it
    chain = factory.MakeChain(left.size());
    paths.reset();
    error.reset();
    isLate = false;
    ConnectToChain();
    QElapsedTimer copying;
    copying.start();
    const bool isStarted = chain->ConvertFile(TaskOfRound());
    factory.AddTimeOfCopy(std::chrono::milliseconds(copying.elapsed()));
    timeOfCopies = factory.TimeOfCopies(); // its own counts
    if (!isStarted) {
        factory.CheckForSignal();
        throw CopyFailure();
    }
}

AbstractConverter::Task Conversion::TaskOfRound() const
{
    std::vector<PageFanOut::PageTask> pages;
    for (const PlannedResult* const result : left)
        pages.push_back({result->page, result->path});
    AbstractConverter::Task ofRound = task;
    ofRound.destination = left.front()->path;
    ofRound.options["page_tasks"] = pages;
    return ofRound;
}

/** Why there is no copy of the document without encryption or damage. */
Failure Conversion::CopyFailure() const
{
    PDF::WorkerPdfProvider& provider = factory.PdfProvider();
    const ioPath source(task.source.toStdString());
    if (const PDF::OpenFailure why = provider.WhyOpenFailed(source); why != PDF::OpenFailure::None)
        return FailureOf(why);
    return FailureOf(provider.WhySaveFailed(source));
}

void Conversion::ConnectToChain()
{
    AbstractConverter* const sender = chain.get();
    if (options.run.timeout > 0) {
        QObject::connect(&alarm, &QTimer::timeout, sender, [this] { TimeIsUp(); });
        alarm.setSingleShot(true);
        alarm.start(int(options.run.timeout * 1000));
    }
    QObject::connect(sender, &AbstractConverter::ConvertationProgress, &context,
                     [this](const QString&, double progress) { console.Progress(work, progress); });
    // The chain is in the middle of its work, and is destroyed by what comes later.
    QObject::connect(sender, &AbstractConverter::Failed, &context,
                     [this](const QString&, AbstractConverter::ErrorType reason) {
                         error = reason;
                         Later([this] { FinishRound(); });
                     });
    QObject::connect(sender, qOverload<const QString&, QStringList>(&AbstractConverter::Finished),
                     &context, [this](const QString&, const QStringList& made) {
                         paths = made;
                         Later([this] { FinishRound(); });
                     });
}

/** Time in which copies of other documents kept this one from going on is given back to it. */
void Conversion::TimeIsUp()
{
    const auto before = std::exchange(timeOfCopies, factory.TimeOfCopies());
    if (timeOfCopies > before) {
        alarm.start(timeOfCopies - before);
        return;
    }
    isLate = true;
    chain->CancelConvertation();
}

/** Sets the final paths of what was made; what other programs were quicker with is made again. */
void Conversion::FinishRound()
{
    const QStringList made = PathsOfRound();
    std::vector<PlannedResult*> again;
    for (std::size_t i = 0; i < left.size(); ++i) {
        PlannedResult& result = *left[i];
        const QString wanted = std::exchange(result.path, made.value(int(i)));
        if (!result.path.isEmpty())
            CheckResult(result);
        else if (IsToBeMadeAgain(wanted))
            again.push_back(&result);
    }
    left = again;
    if (left.empty()) {
        End(nullptr);
        return;
    }
    if (++rounds == mostRounds)
        throw Failure(ExitCode::Output, "cannot-write",
                      "cannot write " + left.front()->wanted.toStdString() +
                          "; other programs keep taking the name");
    for (PlannedResult* const result : left) {
        result->path = planned.FindFree(result->wanted, factory.FileSystem());
        planned.Add(result->path, name);
    }
    if (Journal* const journal = factory.GetJournal())
        journal->PlannedAnew(name, ResultsOf(results));
    StartRound();
}

/** Whether a result that could not be moved to `path` is to go elsewhere; false when to nowhere. */
bool Conversion::IsToBeMadeAgain(const QString& path) const
{
    Journal* const journal = factory.GetJournal();
    const bool isOwn = journal && journal->HasPlaced(path);
    const bool isTaken = !isOwn && factory.FileSystem().Exists(ioPath(path.toStdString()));
    if (!isTaken || options.output.onExists == OnExists::Overwrite)
        throw Failure(ExitCode::Output, "cannot-write",
                      "cannot write " + path.toStdString() + "; " + WhyNotWritten(path));
    if (options.output.onExists == OnExists::Fail)
        throw ExistsFailure(path);
    return options.output.onExists == OnExists::Number;
}

/** Throws where the round did not come to them. */
QStringList Conversion::PathsOfRound() const
{
    if (paths)
        return *paths;
    factory.CheckForSignal();
    if (isLate)
        throw Failure(ExitCode::TimedOut, "timed-out",
                      "takes longer than --timeout allows; its finished pages are there");
    throw FailureOf(error.value_or(AbstractConverter::Unknown));
}

} // namespace Korvel::App
