#include "Planner.h"

#include "ConverterFactory.h"
#include "FailureMessages.h"
#include "LocalFileSystem.h"
#include "Options.h"
#include "PageRanges.h"

#include <algorithm>
#include <climits>

#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

namespace Korvel::App {

namespace {

/** Whether it is a device, a pipe, or a name of something that a process has open. */
bool IsStream(const QString& path)
{
    struct stat status = {};
    if (::stat(path.toStdString().c_str(), &status) != 0 || S_ISDIR(status.st_mode))
        return false;
    const QFileInfo file(path);
    const QLatin1String open("/proc/");
    return !S_ISREG(status.st_mode) || file.canonicalPath().startsWith(open) ||
           QFileInfo(file.symLinkTarget()).path().startsWith(open);
}

/** @throws Failure  Output: no file can be made at `path`, whatever is free */
void CheckTarget(const QString& path)
{
    const std::string bytes = path.toStdString();
    const std::size_t length = bytes.size() - (bytes.rfind('/') + 1);
    if (length > NAME_MAX)
        throw Failure(ExitCode::Output, "cannot-write",
                      "its result " + bytes + " has a name of " + std::to_string(length) +
                          " bytes, of which " + std::to_string(NAME_MAX) +
                          " are allowed; choose a shorter one with -o");
    if (IsStream(path))
        throw Failure(ExitCode::Output, "cannot-write",
                      bytes + " is a device or a pipe; name a file, or write to it with -o - > " +
                          bytes);
}

} // namespace

Planner::Planner(const Run& run, const std::vector<Input>& inputs)
    : run(run), output(Output()), planned(run.journal.ReleasePlanned())
{
    // Only what replaces files can replace what is read.
    if (run.options.output.onExists == OnExists::Overwrite)
        FindSources(inputs);
}

/** Where the results go; in the session folder when it is standard output that wants them. */
OutputTemplate Planner::Output() const
{
    const OutputOptions& options = run.options.output;
    const QString format = QString::fromStdString(options.format);
    if (!options.IsStandardOutput()) {
        const QString path = QString::fromStdString(options.path);
        const QFileInfo there(path);
        if (there.isDir() && !OutputTemplate::Formats().contains(there.suffix().toLower()))
            throw Failure(ExitCode::Usage, "usage",
                          options.path + " is a folder; put the results into it with -d");
        return OutputTemplate::Parse(path, format);
    }
    QString folder = QString::fromStdString(run.factory.MakePrivateFolder());
    folder.replace(QLatin1Char('%'), QLatin1String("%%"));
    return OutputTemplate::Parse(folder + QLatin1String("/standard-output.") + format, format);
}

void Planner::FindSources(const std::vector<Input>& inputs)
{
    const Options& options = run.options;
    for (const std::string& file :
         {options.journal.path, options.input.list, options.passwords.file, options.passwords.map})
        sources.Add(QString::fromStdString(file), QString::fromStdString(file));
    for (const Input& input : inputs)
        sources.Add(input.path, input.name);
}

std::vector<PlannedResult> Planner::Plan(const Document& document)
{
    const Input& input = document.GetInput();
    const int pages = document.Info().pages;
    auto earlier = run.journal.PlanOf(input.name);
    if (earlier && !CanBeOf(input, *earlier))
        earlier.reset();
    const bool isSame = earlier && earlier->pages == pages;
    if (earlier && !isSame)
        GiveUp(*earlier);
    std::vector<PlannedResult> results = isSame ? TakeUp(input, *earlier) : MakePlan(input, pages);
    run.journal.Planned(input.name, pages, ResultsOf(results));
    return results;
}

std::vector<PlannedResult> Planner::PlanAnew(const Document& document,
                                             const std::vector<PlannedResult>& before)
{
    for (const PlannedResult& result : before)
        planned.Remove(result.path);
    return Plan(document);
}

QString Planner::PathOf(const OutputTemplate& path, const Input& input, int page) const
{
    QString name = path.Path(input.baseName, page, input.folder);
    if (!run.options.output.isBeside)
        return name;
    if (input.IsStored())
        throw Failure(ExitCode::Usage, "usage",
                      "comes through a pipe and lies in no folder; name one with -d");
    return input.path.left(input.path.lastIndexOf(QLatin1Char('/')) + 1) + name;
}

/** Where the results of an input of so many pages go, by page, when nothing is there. */
Planner::WantedPaths Planner::WantedFor(const Input& input, int pages) const
{
    const std::vector<int> chosen = PageRanges::Parse(run.options.pages.ranges).Choose(pages);
    const bool needsNumber = output.MakesPictures() && !output.HasPageNumber() &&
                             !output.JoinsPictures() && chosen.size() > 1;
    const OutputTemplate path = needsNumber ? output.WithPageNumber(pages) : output;
    if (!path.HasPageNumber()) {
        const int page = output.MakesPictures() && chosen.size() == 1 ? chosen.front() : 0;
        return {{page, PathOf(path, input, page)}};
    }
    WantedPaths wanted;
    for (const int page : chosen)
        wanted[page] = PathOf(path, input, page);
    return wanted;
}

/** Whether an earlier run can have made the plan for this input, as it was then. */
bool Planner::CanBeOf(const Input& input, const Journal::Plan& earlier) const
{
    const WantedPaths wanted = WantedFor(input, earlier.pages);
    return std::all_of(earlier.paths.begin(), earlier.paths.end(), [&wanted](const auto& result) {
        const auto found = wanted.find(result.first);
        return found != wanted.end() && PDF::Converter::IsNumbered(result.second, found->second);
    });
}

/** Makes room for the plan of a document that is another one now; finished results stay until then.
 */
void Planner::GiveUp(const Journal::Plan& earlier)
{
    for (const auto& [page, path] : earlier.paths) {
        if (!earlier.isConverted && run.journal.HasPlaced(path))
            QFile::remove(path);
        planned.Remove(path);
    }
}

std::vector<PlannedResult> Planner::TakeUp(const Input& input, const Journal::Plan& earlier) const
{
    const WantedPaths wanted = WantedFor(input, earlier.pages);
    std::vector<PlannedResult> results;
    for (const auto& [page, path] : earlier.paths) {
        CheckTarget(path);
        CheckSource(input, path);
        results.push_back({page, wanted.at(page), path});
    }
    return results;
}

std::vector<PlannedResult> Planner::MakePlan(const Input& input, int pages)
{
    std::vector<PlannedResult> results;
    for (const auto& [page, wanted] : WantedFor(input, pages)) {
        CheckTarget(wanted);
        const QString path = FindPlace(wanted);
        if (path.isEmpty())
            continue;
        CheckTarget(path);
        CheckSource(input, path);
        planned.Add(path, input.name);
        results.push_back({page, wanted, path});
    }
    return results;
}

/** Where a result goes that is wanted at `wanted`; empty when it is left away. */
QString Planner::FindPlace(const QString& wanted)
{
    const OnExists onExists = run.options.output.onExists;
    // Standard output takes one result; that there is no other is asked for later.
    if (onExists == OnExists::Number || run.options.output.IsStandardOutput())
        return FindFree(wanted);
    if (const QString other = planned.InputOf(wanted); !other.isNull())
        throw Failure(ExitCode::Exists, "exists",
                      "its result " + wanted.toStdString() + " would meet that of " +
                          other.toStdString() + "; put %s, the input's name, into the output");
    const bool mayBeOwn = run.journal.IsDamaged() && onExists != OnExists::Skip;
    if (onExists == OnExists::Overwrite || mayBeOwn ||
        !run.factory.FileSystem().Exists(ioPath(wanted.toStdString())))
        return wanted;
    if (onExists == OnExists::Fail)
        throw ExistsFailure(wanted);
    return {};
}

/**
 * The first place that no other result has. Where the journal has lost lines, what lies there may
 * be the document's own, which shows once it is made again.
 */
QString Planner::FindFree(const QString& wanted)
{
    return planned.FindFree(wanted, run.journal.IsDamaged() ? nullptr : &run.factory.FileSystem());
}

/** What is read may be replaced by its own result, and by no other. */
void Planner::CheckSource(const Input& input, const QString& path) const
{
    const QString source = sources.NameOf(path);
    if (!source.isNull() && source != sources.NameOf(input.path))
        throw Failure(ExitCode::Exists, "exists",
                      "its result " + path.toStdString() + " would replace " +
                          source.toStdString() + ", which this run reads; choose another name");
}

void Planner::PlanAnew(PlannedResult& result, const QString& document)
{
    result.path = FindFree(result.wanted);
    planned.Add(result.path, document);
}

} // namespace Korvel::App
