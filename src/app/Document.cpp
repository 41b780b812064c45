#include "Document.h"

#include "LocalFileSystem.h"
#include "PageFanOut.h"
#include "PageRanges.h"
#include "Passwords.h"
#include "Report.h"
#include "Services.h"
#include "Version.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include <QElapsedTimer>
#include <QFileInfo>

#include <sys/stat.h>
#include <unistd.h>

namespace Korvel::App {

using PDF::Converter::AbstractConverter;
using PDF::Converter::PageFanOut;

namespace {

/** How often a result is converted for whose path another program was quicker each time. */
constexpr int mostRounds = 5;

/** How often the terminal asks for a password. */
constexpr int passwordTries = 3;

} // namespace

Document::Document(const Input& input, const CommandLine& commandLine, Services& services,
                   Report& report)
    : input(input), commandLine(commandLine), services(services), report(report)
{
}

Failure Document::OpenFailure(PDF::OpenFailure why) const
{
    switch (why) {
    case PDF::OpenFailure::Unreadable:
        return {ExitCode::Input, "unreadable", "cannot be read"};
    case PDF::OpenFailure::Empty:
        return {ExitCode::Input, "empty", "is an empty file"};
    case PDF::OpenFailure::NotAPdf:
        return {ExitCode::Input, "not-a-pdf", "is not a PDF"};
    case PDF::OpenFailure::Damaged:
        return {ExitCode::Input, "damaged", "is damaged and cannot be repaired"};
    case PDF::OpenFailure::NoPassword:
        return {ExitCode::Password, "no-password",
                "is encrypted and needs its password; give it with --password-file, or run "
                "pdfconvert in a terminal to be asked"};
    case PDF::OpenFailure::WrongPassword:
        return {ExitCode::Password, "wrong-password", "is encrypted and the password is wrong"};
    case PDF::OpenFailure::UnsupportedEncryption:
        return {ExitCode::Conversion, "unsupported-encryption",
                "is encrypted in a way that is not supported"};
    case PDF::OpenFailure::OutOfMemory:
        return {ExitCode::Conversion, "out-of-memory",
                "takes more memory to open than is allowed; allow more with --memory-limit"};
    case PDF::OpenFailure::TimedOut:
        return {ExitCode::TimedOut, "timed-out", "takes too long to open"};
    case PDF::OpenFailure::None:
    case PDF::OpenFailure::WorkerFailed:
        break;
    }
    if (PDF::WorkerProcess::FindProgram().isEmpty())
        return BrokenInstallation();
    return {ExitCode::Conversion, "worker-failed",
            "the worker that opened it crashed; the file may be damaged (-v 1 tells more)"};
}

/** Why there is no copy of it without encryption or damage. */
Failure Document::CopyFailure() const
{
    if (const PDF::OpenFailure why = WhyOpenFailed(); why != PDF::OpenFailure::None)
        return OpenFailure(why);
    switch (services.PdfProvider().WhySaveFailed(ioPath(input.path.toStdString()))) {
    case PDF::SaveFailure::Damaged:
        return OpenFailure(PDF::OpenFailure::Damaged);
    case PDF::SaveFailure::OutOfMemory:
        return OpenFailure(PDF::OpenFailure::OutOfMemory);
    case PDF::SaveFailure::TimedOut:
        return OpenFailure(PDF::OpenFailure::TimedOut);
    case PDF::SaveFailure::WorkerFailed:
        return OpenFailure(PDF::OpenFailure::WorkerFailed);
    case PDF::SaveFailure::CannotWrite:
    case PDF::SaveFailure::None:
        break;
    }
    return ConversionFailure(AbstractConverter::CannotWrite);
}

Failure Document::ConversionFailure(AbstractConverter::ErrorType error) const
{
    switch (error) {
    case AbstractConverter::CannotOpenSource:
        return {ExitCode::Conversion, "damaged", "cannot be opened for conversion"};
    case AbstractConverter::PasswordRequiredOrWrong:
        return {ExitCode::Password, "no-password", "is encrypted and needs its password"};
    case AbstractConverter::CannotRender:
        return {ExitCode::Conversion, "cannot-render",
                "a page cannot be converted; the page may be damaged, or too large at this "
                "resolution (-v 1 tells which)"};
    case AbstractConverter::CannotWrite:
        return {ExitCode::Output, "no-temporary-space",
                "there is no space for temporary files; free some, or choose another folder with "
                "--temp-dir"};
    case AbstractConverter::TimedOut:
        return {ExitCode::TimedOut, "timed-out", "a page took too long"};
    case AbstractConverter::OutOfMemory:
        return {ExitCode::Conversion, "out-of-memory",
                "a page takes more memory than is allowed; try a lower resolution with -r, or "
                "allow more with --memory-limit"};
    default:
        return {ExitCode::Conversion, "failed", "the conversion failed (-v 1 tells more)"};
    }
}

Failure Document::ExistsFailure(const QString& path) const
{
    return {ExitCode::Exists, "exists", "its result " + path.toStdString() + " exists already"};
}

void Document::CheckInput() const
{
    if (!input.problem.empty())
        throw Failure(ExitCode::Input, "not-a-name", input.problem);
    const std::string path = input.path.toStdString();
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0)
        throw Failure(ExitCode::Input, errno == ENOENT ? "not-found" : "unreadable",
                      std::strerror(errno));
    if (S_ISDIR(status.st_mode))
        throw Failure(ExitCode::Input, "not-a-file",
                      "is a folder; name the PDFs in it, or list them with --from-list");
    if (!S_ISREG(status.st_mode))
        throw Failure(ExitCode::Input, "not-a-file", "is not a regular file");
    if (::access(path.c_str(), R_OK) != 0)
        throw Failure(ExitCode::Input, errno == ENOENT ? "not-found" : "unreadable",
                      std::strerror(errno));
}

void Document::Open(Passwords& passwords)
{
    CheckInput();
    FindPassword(passwords);
    if (info.repaired)
        report.Warn(input.name, "repaired", "is damaged and was repaired; look the result over");
}

void Document::FindPassword(Passwords& passwords)
{
    for (const std::string& known : passwords.KnownFor(input)) {
        if (TryToOpen(known))
            return;
    }
    for (int tries = 0; tries < passwordTries; ++tries) {
        const auto answer = passwords.AskFor(input, tries > 0);
        if (!answer)
            break;
        if (TryToOpen(*answer)) {
            passwords.Remember(*answer);
            return;
        }
    }
    throw OpenFailure(WhyOpenFailed());
}

/** Whether it takes the password. Throws when it is not the password that is amiss. */
bool Document::TryToOpen(const std::string& tried)
{
    PDF::WorkerPdfProvider& provider = services.PdfProvider();
    const PDF::DocumentHandle document =
        provider.OpenDocument(ioPath(input.path.toStdString()), tried).get();
    services.CheckForSignal();
    if (const auto described = provider.Describe(document)) {
        provider.CloseDocument(document);
        info = *described;
        password = tried;
        return true;
    }
    const PDF::OpenFailure why = WhyOpenFailed();
    if (why != PDF::OpenFailure::NoPassword && why != PDF::OpenFailure::WrongPassword)
        throw OpenFailure(why);
    return false;
}

PDF::OpenFailure Document::WhyOpenFailed() const
{
    return services.PdfProvider().WhyOpenFailed(ioPath(input.path.toStdString()));
}

void Document::Plan(const OutputTemplate& output, PlannedPaths& planned)
{
    format = output.Format();
    pages = PageRanges::Parse(commandLine.pages).Choose(info.pages);
    const bool needsNumber = output.MakesPictures() && !output.HasPageNumber() && pages.size() > 1;
    const OutputTemplate path = needsNumber ? output.WithPageNumber(info.pages) : output;
    if (path.HasPageNumber()) {
        for (const int page : pages)
            PlanResult(page, path.Path(input.baseName, page), planned);
    } else {
        const int page = output.MakesPictures() ? pages.front() : 0;
        PlanResult(page, path.Path(input.baseName, page), planned);
    }
}

void Document::PlanResult(int page, const QString& wanted, PlannedPaths& planned)
{
    PDF::LocalFileSystem& fileSystem = services.FileSystem();
    CheckTarget(wanted);
    QString path = wanted;
    if (commandLine.onExists == OnExists::Number) {
        path = FreePath(wanted, planned, fileSystem);
    } else if (const auto other = planned.find(wanted); other != planned.end()) {
        throw Failure(ExitCode::Exists, "exists",
                      "its result " + wanted.toStdString() + " would meet that of " +
                          other->second.toStdString() +
                          "; put %s, the input's name, into the output");
    } else if (commandLine.onExists != OnExists::Overwrite &&
               fileSystem.Exists(ioPath(wanted.toStdString()))) {
        if (commandLine.onExists == OnExists::Fail)
            throw ExistsFailure(wanted);
        return;
    }
    CheckTarget(path);
    planned[path] = input.name;
    results.push_back({page, wanted, path});
}

void Document::Convert(PlannedPaths& planned, Receiver ended)
{
    conversion = std::make_unique<Conversion>(planned, std::move(ended));
    for (PlannedResult& result : results)
        conversion->left.push_back(&result);
    Later([this] { Begin(); });
}

/** Takes a step from the event loop; what it throws ends the conversion. */
void Document::Later(const std::function<void()>& step)
{
    const auto take = [this, step] {
        try {
            step();
        } catch (...) {
            if (!conversion)
                throw; // it was told already how it has ended
            End(std::current_exception());
        }
    };
    QMetaObject::invokeMethod(&context, take, Qt::QueuedConnection);
}

void Document::End(const std::exception_ptr& failure)
{
    ::explicit_bzero(password.data(), password.size());
    const std::unique_ptr<Conversion> over = std::move(conversion);
    over->chain.reset();
    report.End(over->work);
    over->ended(failure);
}

void Document::Begin()
{
    if (results.empty()) {
        End(nullptr);
        return;
    }
    PrepareFolders();
    conversion->work = report.Begin(input.name, int(results.size()));
    StartRound();
}

std::vector<Report::Result> Document::Results() const
{
    std::vector<Report::Result> made;
    for (const PlannedResult& result : results) {
        if (!result.path.isEmpty())
            made.push_back({result.page, result.path});
    }
    return made;
}

void Document::PrepareFolders() const
{
    std::string prepared;
    for (const PlannedResult& result : results) {
        const std::string folder = QFileInfo(result.path).path().toStdString();
        if (folder == prepared)
            continue;
        std::error_code error;
        std::filesystem::create_directories(folder, error);
        if (error)
            throw Failure(ExitCode::Output, "cannot-write",
                          "cannot make the folder " + folder + ": " + error.message());
        if (::access(folder.c_str(), W_OK | X_OK) != 0)
            throw Failure(ExitCode::Output, "cannot-write",
                          "cannot write into the folder " + folder + ": " + std::strerror(errno));
        prepared = folder;
    }
}

/** Some file systems take a file and then have no space for what is in it. */
void Document::CheckResult(const PlannedResult& result) const
{
    if (QFileInfo(result.path).size() == 0)
        throw Failure(ExitCode::Output, "cannot-write",
                      "its result " + result.path.toStdString() + " is missing or empty");
}

/** One way through a fresh chain for all that is left. */
void Document::StartRound()
{
    services.CheckForSignal(); // which no chain hears that is made after it
    conversion->chain = services.MakeChain(conversion->left.size());
    conversion->paths.reset();
    conversion->error.reset();
    conversion->isLate = false;
    ConnectToChain();
    QElapsedTimer copying;
    copying.start();
    const bool isStarted = conversion->chain->ConvertFile(MakeTask());
    services.AddTimeOfCopy(std::chrono::milliseconds(copying.elapsed()));
    conversion->timeOfCopies = services.TimeOfCopies(); // its own counts
    if (!isStarted) {
        services.CheckForSignal();
        throw CopyFailure();
    }
}

void Document::ConnectToChain()
{
    AbstractConverter* const chain = conversion->chain.get();
    if (commandLine.timeout > 0) {
        QObject::connect(&conversion->alarm, &QTimer::timeout, chain, [this] { TimeIsUp(); });
        conversion->alarm.setSingleShot(true);
        conversion->alarm.start(int(commandLine.timeout * 1000));
    }
    QObject::connect(
        chain, &AbstractConverter::ConvertationProgress, &context,
        [this](const QString&, double progress) { report.Progress(conversion->work, progress); });
    // The chain is in the middle of its work, and is destroyed by what comes later.
    QObject::connect(chain, &AbstractConverter::Failed, &context,
                     [this](const QString&, AbstractConverter::ErrorType reason) {
                         conversion->error = reason;
                         Later([this] { FinishRound(); });
                     });
    QObject::connect(chain, qOverload<const QString&, QStringList>(&AbstractConverter::Finished),
                     &context, [this](const QString&, const QStringList& paths) {
                         conversion->paths = paths;
                         Later([this] { FinishRound(); });
                     });
}

/** Time in which copies of other documents kept this one from going on is given back to it. */
void Document::TimeIsUp()
{
    const auto before = std::exchange(conversion->timeOfCopies, services.TimeOfCopies());
    if (conversion->timeOfCopies > before) {
        conversion->alarm.start(conversion->timeOfCopies - before);
        return;
    }
    conversion->isLate = true;
    conversion->chain->CancelConvertation();
}

/** Sets the final paths of what was made; what other programs were quicker with is made again. */
void Document::FinishRound()
{
    const QStringList paths = PathsOfRound();
    std::vector<PlannedResult*> left;
    for (std::size_t i = 0; i < conversion->left.size(); ++i) {
        PlannedResult& result = *conversion->left[i];
        const QString planned = std::exchange(result.path, paths.value(int(i)));
        if (!result.path.isEmpty()) {
            CheckResult(result);
            continue;
        }
        const bool isTaken = services.FileSystem().Exists(ioPath(planned.toStdString()));
        if (!isTaken || commandLine.onExists == OnExists::Overwrite)
            throw Failure(ExitCode::Output, "cannot-write",
                          "cannot write " + planned.toStdString() + "; is there space left?");
        if (commandLine.onExists == OnExists::Fail)
            throw ExistsFailure(planned);
        if (commandLine.onExists == OnExists::Number)
            left.push_back(&result);
    }
    if (left.empty()) {
        End(nullptr);
        return;
    }
    if (++conversion->rounds == mostRounds)
        throw Failure(ExitCode::Output, "cannot-write",
                      "cannot write " + left.front()->wanted.toStdString() +
                          "; other programs keep taking the name");
    for (PlannedResult* const result : left) {
        result->path = FreePath(result->wanted, conversion->planned, services.FileSystem());
        conversion->planned[result->path] = input.name;
    }
    conversion->left = left;
    StartRound();
}

/** Throws where the round did not come to them. */
QStringList Document::PathsOfRound() const
{
    if (conversion->paths)
        return *conversion->paths;
    services.CheckForSignal();
    if (conversion->isLate)
        throw Failure(ExitCode::TimedOut, "timed-out",
                      "takes longer than --timeout allows; its finished pages are there");
    throw ConversionFailure(conversion->error.value_or(AbstractConverter::Unknown));
}

AbstractConverter::Task Document::MakeTask() const
{
    AbstractConverter::Task task;
    task.type = format;
    task.source = input.path;
    task.destination = conversion->left.front()->path;
    task.options["gray"] = commandLine.gray;
    if (commandLine.size.isEmpty())
        task.options["resolution"] = commandLine.resolution;
    else
        task.options["size"] = commandLine.size;
    if (commandLine.quality > 0)
        task.options["quality"] = commandLine.quality;
    if (!commandLine.compression.empty())
        task.options["compression"] = QString::fromStdString(commandLine.compression);
    if (info.encrypted || info.repaired) {
        task.options["need_export"] = true;
        task.options["password"] = password;
    }
    if (format == QLatin1String("txt"))
        task.options["pages"] = pages;
    std::vector<PageFanOut::PageTask> tasks;
    for (const PlannedResult* const result : conversion->left)
        tasks.push_back({result->page, result->path});
    task.options["page_tasks"] = tasks;
    return task;
}

} // namespace Korvel::App
