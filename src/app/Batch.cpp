#include "Batch.h"

#include "Interruption.h"
#include "LocalFileSystem.h"
#include "PageFanOut.h"
#include "PageRanges.h"
#include "Password.h"
#include "Report.h"
#include "SessionFolder.h"
#include "TempFileWrapper.h"
#include "UnencryptDocWrapper.h"
#include "UuidFileNameGenerator.h"
#include "WorkerConverter.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include <QEventLoop>
#include <QFileInfo>
#include <QThread>

#include <sys/stat.h>
#include <unistd.h>

namespace Korvel::App {

using PDF::Converter::AbstractConverter;
using PDF::Converter::PageFanOut;
using PDF::Converter::TempFileWrapper;
using PDF::Converter::UnencryptDocWrapper;
using PDF::Converter::WorkerConverter;

namespace {

/** How often a result is converted for whose path another program was quicker each time. */
constexpr int attempts = 5;

/** How often the terminal asks for a password. */
constexpr int passwordTries = 3;

std::string FolderOf(const QString& path)
{
    return QFileInfo(path).path().toStdString();
}

} // namespace

Batch::Batch(const CommandLine& commandLine, Report& report, Interruption& interruption)
    : commandLine(commandLine),
      input(commandLine.input.toStdString()),
      output(OutputTemplate::Parse(commandLine.output)),
      report(report),
      interruption(interruption)
{
}

Batch::~Batch()
{
    interruption.OnSignal({});
}

void Batch::Run()
{
    CheckInput();
    StartServices();
    const Source source = OpenSource();
    const std::vector<PlannedResult> plan = Plan(source);
    PrepareFolders(plan);
    report.Begin(QFileInfo(commandLine.input).fileName(), int(plan.size()));
    const QStringList results = ConvertAll(source, plan);
    if (!report.Results(results))
        throw InputFailure(ExitCode::Output,
                           "converted, but the paths could not be written to standard output");
}

Failure Batch::InputFailure(ExitCode code, const std::string& message) const
{
    return {code, input + ": " + message};
}

Failure Batch::OpenFailure(PDF::OpenFailure why) const
{
    switch (why) {
    case PDF::OpenFailure::Unreadable:
        return InputFailure(ExitCode::Input, "cannot be read");
    case PDF::OpenFailure::Empty:
        return InputFailure(ExitCode::Input, "is an empty file");
    case PDF::OpenFailure::NotAPdf:
        return InputFailure(ExitCode::Input, "is not a PDF");
    case PDF::OpenFailure::Damaged:
        return InputFailure(ExitCode::Input, "is damaged and cannot be repaired");
    case PDF::OpenFailure::NoPassword:
        return InputFailure(ExitCode::Password,
                            "is encrypted and needs its password; give it with --password-file or "
                            "--password-env, or run pdfconvert in a terminal to be asked");
    case PDF::OpenFailure::WrongPassword:
        return InputFailure(ExitCode::Password, "is encrypted and the password is wrong");
    case PDF::OpenFailure::UnsupportedEncryption:
        return InputFailure(ExitCode::Conversion, "is encrypted in a way that is not supported");
    case PDF::OpenFailure::OutOfMemory:
        return InputFailure(ExitCode::Conversion, "takes more memory to open than is allowed");
    case PDF::OpenFailure::TimedOut:
        return InputFailure(ExitCode::Conversion, "takes too long to open");
    case PDF::OpenFailure::None:
    case PDF::OpenFailure::WorkerFailed:
        break;
    }
    if (PDF::WorkerProcess::FindProgram().isEmpty())
        return {ExitCode::Internal,
                "the program pdfconvert-worker is not where it was installed; install again"};
    return InputFailure(ExitCode::Conversion, "the worker that opened it crashed; the file may be "
                                              "damaged (-v 1 tells more)");
}

Failure Batch::ConversionFailure(AbstractConverter::ErrorType error) const
{
    switch (error) {
    case AbstractConverter::CannotOpenSource:
        return InputFailure(ExitCode::Conversion, "cannot be opened for conversion");
    case AbstractConverter::PasswordRequiredOrWrong:
        return InputFailure(ExitCode::Password, "is encrypted and needs its password");
    case AbstractConverter::CannotRender:
        return InputFailure(ExitCode::Conversion, "a page cannot be converted; the page may be "
                                                  "damaged, or too large at this resolution "
                                                  "(-v 1 tells which)");
    case AbstractConverter::CannotWrite:
        return InputFailure(ExitCode::Output, "there is no space for temporary files; free some, "
                                              "or choose another folder with --temp-dir");
    case AbstractConverter::TimedOut:
        return InputFailure(ExitCode::Conversion, "a page took too long");
    case AbstractConverter::OutOfMemory:
        return InputFailure(ExitCode::Conversion, "a page takes more memory than is allowed; try "
                                                  "a lower resolution with -r");
    default:
        return InputFailure(ExitCode::Conversion, "the conversion failed (-v 1 tells more)");
    }
}

void Batch::CheckInput() const
{
    struct stat status = {};
    if (::stat(input.c_str(), &status) != 0)
        throw InputFailure(ExitCode::Input, std::strerror(errno));
    if (S_ISDIR(status.st_mode))
        throw InputFailure(ExitCode::Input, "is a folder; name a PDF in it");
    if (!S_ISREG(status.st_mode))
        throw InputFailure(ExitCode::Input, "is not a regular file");
    if (::access(input.c_str(), R_OK) != 0)
        throw InputFailure(ExitCode::Input, std::strerror(errno));
}

void Batch::StartServices()
{
    const std::string parent =
        commandLine.tempDir.empty() ? PDF::SessionFolder::DefaultParent() : commandLine.tempDir;
    std::string error;
    std::shared_ptr<PDF::SessionFolder> session = PDF::SessionFolder::Create(parent, error);
    if (!session)
        throw Failure(ExitCode::Output, "cannot make a folder for temporary files in " + parent +
                                            ": " + error + "; choose another with --temp-dir");
    names = std::make_shared<PDF::UuidFileNameGenerator>();
    fileSystem = std::make_shared<PDF::LocalFileSystem>(session);
    provider = std::make_shared<PDF::WorkerPdfProvider>();

    // The provider is told at once, since the main thread may be waiting for its answer.
    interruption.OnSignal([this] {
        provider->Shutdown();
        QMetaObject::invokeMethod(&mainThread, [this] {
            if (running)
                running->CancelConvertation();
        });
    });
}

Batch::Source Batch::OpenSource()
{
    Source source;
    const auto given = GivenPassword(commandLine);
    source.password = given.value_or(std::string());
    const std::string question = "Password for " + input + ": ";
    std::string prompt = question;
    for (int tries = 0; !TryToOpen(source); ++tries) {
        const PDF::OpenFailure why = provider->WhyOpenFailed(ioPath(input));
        const bool asksForPassword =
            why == PDF::OpenFailure::NoPassword || why == PDF::OpenFailure::WrongPassword;
        if (!asksForPassword || given || tries == passwordTries)
            throw OpenFailure(why);
        const auto answer = AskForPassword(prompt, interruption);
        if (!answer)
            throw OpenFailure(why);
        source.password = *answer;
        prompt = "That password does not open it.\n" + question;
    }
    if (source.info.repaired && !commandLine.quiet)
        report.Complain(input + ": is damaged and was repaired; look the result over");
    return source;
}

bool Batch::TryToOpen(Source& source)
{
    const PDF::DocumentHandle document =
        provider->OpenDocument(ioPath(input), source.password).get();
    interruption.Check();
    const auto info = provider->Describe(document);
    if (!info)
        return false;
    provider->CloseDocument(document);
    source.info = *info;
    return true;
}

std::vector<PlannedResult> Batch::Plan(const Source& source) const
{
    const int pageCount = source.info.pages;
    std::vector<int> pages;
    try {
        pages = PageRanges::Parse(commandLine.pages).Choose(pageCount);
    } catch (const Failure& failure) {
        throw InputFailure(failure.code, failure.what());
    }
    const bool needsNumber = output.MakesPictures() && !output.HasPageNumber() && pages.size() > 1;
    const OutputTemplate name = needsNumber ? output.WithPageNumber(pageCount) : output;
    if (!name.HasPageNumber())
        pages = {output.MakesPictures() ? pages.front() : 0};

    std::vector<PlannedResult> plan;
    for (const int page : pages) {
        const QString wanted = name.ForPage(page);
        plan.push_back({page, wanted, FreePath(wanted, plan, *fileSystem)});
    }
    return plan;
}

void Batch::PrepareFolders(const std::vector<PlannedResult>& plan) const
{
    std::string prepared;
    for (const PlannedResult& result : plan) {
        const std::string folder = FolderOf(result.path);
        if (folder == prepared)
            continue;
        std::error_code error;
        std::filesystem::create_directories(folder, error);
        if (error)
            throw Failure(ExitCode::Output,
                          "cannot make the folder " + folder + ": " + error.message());
        if (::access(folder.c_str(), W_OK | X_OK) != 0)
            throw Failure(ExitCode::Output,
                          "cannot write into the folder " + folder + ": " + std::strerror(errno));
        prepared = folder;
    }
}

/** The final paths of the plan, in its order. */
QStringList Batch::ConvertAll(const Source& source, std::vector<PlannedResult> plan)
{
    std::vector<PlannedResult*> left;
    for (PlannedResult& result : plan)
        left.push_back(&result);
    for (int attempt = 0; !left.empty(); ++attempt) {
        if (attempt == attempts)
            throw InputFailure(ExitCode::Output, "cannot write " +
                                                     left.front()->wanted.toStdString() +
                                                     "; other programs keep taking the name");
        left = ConvertRound(source, left);
        for (PlannedResult* const result : left)
            result->path = FreePath(result->wanted, plan, *fileSystem);
    }
    QStringList paths;
    for (const PlannedResult& result : plan)
        paths.append(result.path);
    return paths;
}

/** Makes results and sets their final paths; those whose path was taken meanwhile are answered. */
std::vector<PlannedResult*> Batch::ConvertRound(const Source& source,
                                                const std::vector<PlannedResult*>& wanted)
{
    const QStringList paths = Convert(source, wanted);
    std::vector<PlannedResult*> left;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        const std::string planned = wanted[i]->path.toStdString();
        if (const QString path = paths.value(int(i)); !path.isEmpty())
            wanted[i]->path = path;
        else if (fileSystem->Exists(ioPath(planned)))
            left.push_back(wanted[i]);
        else
            throw InputFailure(ExitCode::Output,
                               "cannot write " + planned + "; is there space left?");
    }
    return left;
}

/** One way through a fresh chain; the final paths, empty where a result could not be moved. */
QStringList Batch::Convert(const Source& source, const std::vector<PlannedResult*>& wanted)
{
    const std::shared_ptr<AbstractConverter> chain = MakeChain(wanted.size());
    std::optional<QStringList> results;
    std::optional<AbstractConverter::ErrorType> error;
    QEventLoop loop;
    QObject::connect(chain.get(), &AbstractConverter::ConvertationProgress, &loop,
                     [this](const QString&, double progress) { report.Progress(progress); });
    QObject::connect(chain.get(), &AbstractConverter::Failed, &loop,
                     [&](const QString&, AbstractConverter::ErrorType reason) {
                         error = reason;
                         loop.quit();
                     });
    QObject::connect(chain.get(),
                     qOverload<const QString&, QStringList>(&AbstractConverter::Finished), &loop,
                     [&](const QString&, const QStringList& paths) {
                         results = paths;
                         loop.quit();
                     });

    running = chain.get();
    if (!chain->ConvertFile(MakeTask(source, wanted))) {
        interruption.Check();
        const PDF::OpenFailure why = provider->WhyOpenFailed(ioPath(input));
        throw why == PDF::OpenFailure::None ? ConversionFailure(AbstractConverter::CannotWrite)
                                            : OpenFailure(why);
    }
    loop.exec();
    if (results)
        return *results;
    interruption.Check();
    throw ConversionFailure(error.value_or(AbstractConverter::Unknown));
}

AbstractConverter::Task Batch::MakeTask(const Source& source,
                                        const std::vector<PlannedResult*>& wanted) const
{
    AbstractConverter::Task task;
    task.type = output.Format();
    task.source = commandLine.input;
    task.destination = wanted.front()->path;
    task.options["resolution"] = commandLine.resolution;
    if (source.info.encrypted || source.info.repaired) {
        task.options["need_export"] = true;
        task.options["password"] = source.password;
    }
    if (output.Format() == QLatin1String("txt"))
        task.options["pages"] = PageRanges::Parse(commandLine.pages).Choose(source.info.pages);
    std::vector<PageFanOut::PageTask> pages;
    for (const PlannedResult* const result : wanted)
        pages.push_back({result->page, result->path});
    task.options["page_tasks"] = pages;
    return task;
}

std::shared_ptr<AbstractConverter> Batch::MakeChain(std::size_t width)
{
    const auto processors = std::size_t(std::max(QThread::idealThreadCount(), 1));
    while (workers.size() < std::min(width, processors))
        workers.push_back(std::make_shared<WorkerConverter>());
    std::vector<std::shared_ptr<AbstractConverter>> chains;
    for (const auto& worker : workers)
        chains.push_back(std::make_shared<TempFileWrapper>(names, worker, fileSystem));
    const auto fanOut = std::make_shared<PageFanOut>(chains);
    return std::make_shared<UnencryptDocWrapper>(names, fanOut, provider, fileSystem);
}

} // namespace Korvel::App
