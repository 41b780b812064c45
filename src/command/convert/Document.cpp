#include "Document.h"

#include "Console.h"
#include "ConverterFactory.h"
#include "FailureMessages.h"
#include "InputFiles.h"
#include "LocalFileSystem.h"
#include "PageRanges.h"
#include "Passwords.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

namespace Korvel::App {

namespace {

/** How often the terminal asks for a password. */
constexpr int passwordTries = 3;

} // namespace

Document::Document(const Input& input, const Options& options, const InputFiles& sources,
                   ConverterFactory& factory, Console& console)
    : input(input), options(options), sources(sources), factory(factory), console(console)
{
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
        console.Warn(input.name, "repaired", "is damaged and was repaired; look the result over");
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
    throw FailureOf(WhyOpenFailed());
}

/** Whether it takes the password. Throws when it is not the password that is amiss. */
bool Document::TryToOpen(const std::string& tried)
{
    PDF::WorkerPdfProvider& provider = factory.PdfProvider();
    const PDF::DocumentHandle document =
        provider.OpenDocument(ioPath(input.path.toStdString()), tried).get();
    factory.CheckForSignal();
    if (const auto described = provider.Describe(document)) {
        provider.CloseDocument(document);
        info = *described;
        password = tried;
        return true;
    }
    const PDF::OpenFailure why = WhyOpenFailed();
    if (why != PDF::OpenFailure::NoPassword && why != PDF::OpenFailure::WrongPassword)
        throw FailureOf(why);
    return false;
}

PDF::OpenFailure Document::WhyOpenFailed() const
{
    return factory.PdfProvider().WhyOpenFailed(ioPath(input.path.toStdString()));
}

void Document::ChoosePages(const OutputTemplate& output)
{
    format = output.Format();
    pages = PageRanges::Parse(options.pages.ranges).Choose(info.pages);
}

/** Where the results of a document of so many pages go, by page, when nothing is there. */
std::map<int, QString> Document::WantedPaths(const OutputTemplate& output, int pageCount) const
{
    const std::vector<int> chosen = PageRanges::Parse(options.pages.ranges).Choose(pageCount);
    const bool needsNumber = output.MakesPictures() && !output.HasPageNumber() && chosen.size() > 1;
    const OutputTemplate path = needsNumber ? output.WithPageNumber(pageCount) : output;
    if (!path.HasPageNumber()) {
        const int page = output.MakesPictures() ? chosen.front() : 0;
        return {{page, path.Path(input.baseName, page)}};
    }
    std::map<int, QString> wanted;
    for (const int page : chosen)
        wanted[page] = path.Path(input.baseName, page);
    return wanted;
}

void Document::Plan(const OutputTemplate& output, PlannedPaths& planned)
{
    ChoosePages(output);
    for (const auto& [page, wanted] : WantedPaths(output, info.pages))
        PlanResult(page, wanted, planned);
}

bool Document::CanHave(const Journal::Plan& plan, const OutputTemplate& output) const
{
    const std::map<int, QString> wanted = WantedPaths(output, plan.pages);
    return std::all_of(plan.paths.begin(), plan.paths.end(), [&wanted](const auto& result) {
        const auto found = wanted.find(result.first);
        return found != wanted.end() && IsNumbered(result.second, found->second);
    });
}

void Document::Resume(const Journal::Plan& plan, const OutputTemplate& output)
{
    ChoosePages(output);
    const std::map<int, QString> wanted = WantedPaths(output, info.pages);
    for (const auto& [page, path] : plan.paths) {
        CheckTarget(path);
        CheckSource(path);
        results.push_back({page, wanted.at(page), path});
    }
}

/** What is read may be replaced by its own result, and by no other. */
void Document::CheckSource(const QString& path) const
{
    const QString source = sources.NameOf(path);
    if (!source.isNull() && source != sources.NameOf(input.path))
        throw Failure(ExitCode::Exists, "exists",
                      "its result " + path.toStdString() + " would replace " +
                          source.toStdString() + ", which this run reads; choose another name");
}

void Document::PlanResult(int page, const QString& wanted, PlannedPaths& planned)
{
    PDF::LocalFileSystem& fileSystem = factory.FileSystem();
    CheckTarget(wanted);
    QString path = wanted;
    // Of many for standard output, the one result that it takes is asked for later.
    if (options.output.onExists == OnExists::Number || options.output.IsStandardOutput()) {
        path = planned.FindFree(wanted, fileSystem);
    } else if (const QString other = planned.InputOf(wanted); !other.isNull()) {
        throw Failure(ExitCode::Exists, "exists",
                      "its result " + wanted.toStdString() + " would meet that of " +
                          other.toStdString() + "; put %s, the input's name, into the output");
    } else if (options.output.onExists != OnExists::Overwrite &&
               fileSystem.Exists(ioPath(wanted.toStdString()))) {
        if (options.output.onExists == OnExists::Fail)
            throw ExistsFailure(wanted);
        return;
    }
    CheckTarget(path);
    CheckSource(path);
    planned.Add(path, input.name);
    results.push_back({page, wanted, path});
}

void Document::Convert(PlannedPaths& planned, Conversion::Receiver ended)
{
    conversion = std::make_unique<Conversion>(MakeTask(), input.name, results, planned, options,
                                              factory, console);
    ::explicit_bzero(password.data(), password.size());
    sinceConvert.start();
    conversion->Start([this, ended = std::move(ended)](const std::exception_ptr& failure) {
        const std::unique_ptr<Conversion> over = std::move(conversion);
        ended(failure);
    });
}

Conversion::Task Document::MakeTask() const
{
    Conversion::Task task;
    task.type = format;
    task.source = input.path;
    task.options["gray"] = options.pages.gray;
    if (options.pages.size.isEmpty())
        task.options["resolution"] = options.pages.resolution;
    else
        task.options["size"] = options.pages.size;
    if (options.pages.quality > 0)
        task.options["quality"] = options.pages.quality;
    if (!options.pages.compression.empty())
        task.options["compression"] = QString::fromStdString(options.pages.compression);
    if (info.encrypted || info.repaired) {
        task.options["need_export"] = true;
        task.options["password"] = password;
    }
    if (format == QLatin1String("txt"))
        task.options["pages"] = pages;
    return task;
}

} // namespace Korvel::App
