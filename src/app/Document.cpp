#include "Document.h"

#include "LocalFileSystem.h"
#include "PageFanOut.h"
#include "PageRanges.h"
#include "Passwords.h"
#include "Report.h"
#include "Services.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include <QEventLoop>
#include <QFileInfo>

#include <sys/stat.h>
#include <unistd.h>

namespace Korvel::App {

using PDF::Converter::AbstractConverter;
using PDF::Converter::PageFanOut;

namespace {

/** How often a result is converted for whose path another program was quicker each time. */
constexpr int attempts = 5;

/** How often the terminal asks for a password. */
constexpr int passwordTries = 3;

} // namespace

Document::Document(const Input& input, const CommandLine& commandLine, Services& services,
                   Report& report)
    : input(input),
      name(input.name.toStdString()),
      commandLine(commandLine),
      services(services),
      report(report)
{
}

Failure Document::InputFailure(ExitCode code, const std::string& message) const
{
    return {code, name + ": " + message};
}

Failure Document::OpenFailure(PDF::OpenFailure why) const
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
                            "is encrypted and needs its password; give it with --password-file, or "
                            "run pdfconvert in a terminal to be asked");
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

Failure Document::ConversionFailure(AbstractConverter::ErrorType error) const
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

Failure Document::ExistsFailure(const QString& path) const
{
    return InputFailure(ExitCode::Exists, "its result " + path.toStdString() + " exists already");
}

void Document::CheckInput() const
{
    if (!input.problem.empty())
        throw InputFailure(ExitCode::Input, input.problem);
    const std::string path = input.path.toStdString();
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0)
        throw InputFailure(ExitCode::Input, std::strerror(errno));
    if (S_ISDIR(status.st_mode))
        throw InputFailure(ExitCode::Input,
                           "is a folder; name the PDFs in it, or list them with --from-list");
    if (!S_ISREG(status.st_mode))
        throw InputFailure(ExitCode::Input, "is not a regular file");
    if (::access(path.c_str(), R_OK) != 0)
        throw InputFailure(ExitCode::Input, std::strerror(errno));
}

void Document::Open(Passwords& passwords)
{
    CheckInput();
    FindPassword(passwords);
    if (info.repaired)
        report.Warn(name + ": is damaged and was repaired; look the result over");
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
    try {
        pages = PageRanges::Parse(commandLine.pages).Choose(info.pages);
    } catch (const Failure& failure) {
        throw InputFailure(failure.code, failure.what());
    }
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
    QString path = wanted;
    if (commandLine.onExists == OnExists::Number) {
        path = FreePath(wanted, planned, fileSystem);
    } else if (const auto other = planned.find(wanted); other != planned.end()) {
        throw InputFailure(ExitCode::Exists, "its result " + wanted.toStdString() +
                                                 " would meet that of " +
                                                 other->second.toStdString() +
                                                 "; put %s, the input's name, into the output");
    } else if (commandLine.onExists != OnExists::Overwrite &&
               fileSystem.Exists(ioPath(wanted.toStdString()))) {
        if (commandLine.onExists == OnExists::Fail)
            throw ExistsFailure(wanted);
        return;
    }
    planned[path] = input.name;
    results.push_back({page, wanted, path});
}

void Document::Convert(const PlannedPaths& planned)
{
    PrepareFolders();
    report.Begin(input.name, int(results.size()));
    std::vector<PlannedResult*> left;
    for (PlannedResult& result : results)
        left.push_back(&result);
    for (int attempt = 0; !left.empty(); ++attempt) {
        if (attempt == attempts)
            throw InputFailure(ExitCode::Output, "cannot write " +
                                                     left.front()->wanted.toStdString() +
                                                     "; other programs keep taking the name");
        left = ConvertRound(left);
        for (PlannedResult* const result : left)
            result->path = FreePath(result->wanted, planned, services.FileSystem());
    }
}

QStringList Document::Paths() const
{
    QStringList paths;
    for (const PlannedResult& result : results) {
        if (!result.path.isEmpty())
            paths.append(result.path);
    }
    return paths;
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
            throw InputFailure(ExitCode::Output,
                               "cannot make the folder " + folder + ": " + error.message());
        if (::access(folder.c_str(), W_OK | X_OK) != 0)
            throw InputFailure(ExitCode::Output, "cannot write into the folder " + folder + ": " +
                                                     std::strerror(errno));
        prepared = folder;
    }
}

/** Makes results and sets their final paths; those to make again under another are answered. */
std::vector<PlannedResult*> Document::ConvertRound(const std::vector<PlannedResult*>& wanted)
{
    const QStringList paths = RunChain(wanted);
    std::vector<PlannedResult*> left;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        PlannedResult& result = *wanted[i];
        const QString planned = std::exchange(result.path, paths.value(int(i)));
        if (!result.path.isEmpty())
            continue;
        const bool isTaken = services.FileSystem().Exists(ioPath(planned.toStdString()));
        if (!isTaken || commandLine.onExists == OnExists::Overwrite)
            throw InputFailure(ExitCode::Output,
                               "cannot write " + planned.toStdString() + "; is there space left?");
        if (commandLine.onExists == OnExists::Fail)
            throw ExistsFailure(planned);
        if (commandLine.onExists == OnExists::Number)
            left.push_back(&result);
    }
    return left;
}

/** One way through a fresh chain; the final paths, empty where a result could not be moved. */
QStringList Document::RunChain(const std::vector<PlannedResult*>& wanted)
{
    const std::shared_ptr<AbstractConverter> chain = services.MakeChain(wanted.size());
    std::optional<QStringList> paths;
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
                     [&](const QString&, const QStringList& finished) {
                         paths = finished;
                         loop.quit();
                     });

    if (!chain->ConvertFile(MakeTask(wanted))) {
        services.CheckForSignal();
        const PDF::OpenFailure why = WhyOpenFailed();
        throw why == PDF::OpenFailure::None ? ConversionFailure(AbstractConverter::CannotWrite)
                                            : OpenFailure(why);
    }
    loop.exec();
    if (paths)
        return *paths;
    services.CheckForSignal();
    throw ConversionFailure(error.value_or(AbstractConverter::Unknown));
}

AbstractConverter::Task Document::MakeTask(const std::vector<PlannedResult*>& wanted) const
{
    AbstractConverter::Task task;
    task.type = format;
    task.source = input.path;
    task.destination = wanted.front()->path;
    task.options["resolution"] = commandLine.resolution;
    if (info.encrypted || info.repaired) {
        task.options["need_export"] = true;
        task.options["password"] = password;
    }
    if (format == QLatin1String("txt"))
        task.options["pages"] = pages;
    std::vector<PageFanOut::PageTask> tasks;
    for (const PlannedResult* const result : wanted)
        tasks.push_back({result->page, result->path});
    task.options["page_tasks"] = tasks;
    return task;
}

} // namespace Korvel::App
