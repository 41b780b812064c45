#include "CommandLine.h"

#include "Failure.h"
#include "HelpPages.h"
#include "OptionAdder.h"
#include "OptionList.h"
#include "OptionRules.h"
#include "RawArguments.h"
#include "SessionFolder.h"
#include "ShellCompletion.h"
#include "WorkerProtocol.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <sstream>
#include <string_view>

#include <QString>

namespace Korvel::App {

namespace {

/**
 * Complains about a text that is no number from `least` to `most`.
 *
 * Other texts are made what was understood, as CLI11 reads 010 as 8.
 */
template <typename Number>
CLI::Validator InRange(Number least, Number most, const std::string& what)
{
    const auto check = [=](std::string& text) -> std::string {
        bool isNumber = false;
        const double value = QString::fromStdString(text).toDouble(&isNumber);
        const bool isWhole = std::is_floating_point_v<Number> || value == std::floor(value);
        if (isNumber && value >= least && value <= most && isWhole) {
            text = QString::number(value, 'g', std::numeric_limits<double>::max_digits10)
                       .toStdString();
            return {};
        }
        std::ostringstream complaint;
        complaint << "'" << text << "' is not " << what << " from " << least << " to " << most;
        return complaint.str();
    };
    return CLI::Validator(check, {});
}

/** What the arguments of main() say. */
struct Given
{
    Options options;
    /** The value of --directory. */
    std::string folder;
    /** Shell to print a script for, in place of everything else. */
    std::string completion;
    /** Do this in place of everything else. */
    bool manual = false;
    bool version = false;
    bool cleanTemp = false;
};

void AddInputs(OptionAdder& add, InputOptions& input)
{
    add.Files("INPUT", input.paths);
    add.Value("--from-list", input.list);
    add.Flag("--recursive", input.isRecursive);
    add.Flag("--null", input.isListNulSeparated);
    add.Read("--shard", [&input](const std::string& text) { input.shard = Shard::Parse(text); })
        ->check(ProblemOfShard);
}

void AddOutput(OptionAdder& add, Given& given)
{
    OutputOptions& output = given.options.output;
    add.Value("--output", output.path);
    add.Flag("--beside", output.isBeside)->excludes(add.Value("--directory", given.folder));
    add.WordOfAnyCase("--format", output.format);
    add.Flag("--merge", output.merges);
    add.Flag("--linearize", output.isLinearized);
    add.Word("--on-exists", output.onExists);
    add.Flag("--dry-run", given.options.run.isDry);
}

/** Has each of some options refuse all others of them. */
void ExcludeEachOther(const std::vector<CLI::Option*>& options)
{
    for (CLI::Option* const option : options) {
        for (CLI::Option* const other : options) {
            if (option != other)
                option->excludes(other);
        }
    }
}

/** Complains about a text that is neither the word nor a resolution. */
CLI::Validator ResolutionOr(const std::string& word)
{
    const CLI::Validator isResolution = InRange(WorkerProtocol::lowestResolution,
                                                WorkerProtocol::highestResolution, "a resolution");
    const auto check = [isResolution, word](std::string& text) {
        return text == word ? std::string() : isResolution(text);
    };
    return CLI::Validator(check, {});
}

void SetResolution(const std::string& text, PageOptions& pages)
{
    pages.isNative = text == "native";
    if (!pages.isNative)
        pages.resolution = std::stod(text);
}

/** How large pictures are: four ways of which one can be chosen. */
void AddSizes(OptionAdder& add, PageOptions& pages)
{
    const auto setWidth = [&pages](const std::string& text) {
        pages.size = {std::stoi(text), 0};
    };
    const auto setHeight = [&pages](const std::string& text) {
        pages.size = {0, std::stoi(text)};
    };
    const CLI::Validator isSide = InRange(1, WorkerProtocol::longestSide, "a number of pixels");
    ExcludeEachOther(
        {add.Read("--resolution", [&pages](const std::string& text) { SetResolution(text, pages); })
             ->transform(ResolutionOr("native")),
         add.Read("--size", [&pages](const std::string& text) { pages.size = ToSize(text); })
             ->check(ProblemOfSize),
         add.Read("--width", setWidth)->transform(isSide),
         add.Read("--height", setHeight)->transform(isSide)});
}

void AddColors(OptionAdder& add, PageOptions& pages)
{
    ExcludeEachOther({add.Flag("--gray", pages.gray), add.Flag("--mono", pages.mono),
                      add.Flag("--transparent", pages.transparent)});
    add.Flag("--dither", pages.dithers);
}

void AddPages(OptionAdder& add, PageOptions& pages)
{
    add.Value("--pages", pages.ranges)->check(ProblemOfPages);
    AddSizes(add, pages);
    add.Word("--box", pages.box);
    add.Read("--crop", [&pages](const std::string& text) { pages.part = PagePart::Parse(text); })
        ->check(ProblemOfPart);
    add.Word("--rotate", pages.rotation);
    AddColors(add, pages);
    add.Value("--quality", pages.quality)
        ->transform(InRange(1, WorkerProtocol::highestQuality, "a quality"));
    add.Word("--compression", pages.compression);
    ExcludeEachOther({add.Flag("--dehyphenate", pages.dehyphenates),
                      add.Flag("--no-dehyphenate", pages.keepsHyphens),
                      add.Flag("--layout", pages.isLaidOut)});
}

void AddPasswords(OptionAdder& add, PasswordOptions& passwords)
{
    const std::vector<CLI::Option*> ways{add.Value("--password-file", passwords.file),
                                         add.Value("--password-env", passwords.variable),
                                         add.Value("--password-fd", passwords.descriptor)
                                             ->transform(InRange(0, 1 << 20, "a file descriptor")),
                                         add.Any("--password", passwords.password),
                                         add.Flag("--ask-password", passwords.asksFirst)};
    ExcludeEachOther(ways);
    add.Value("--password-map", passwords.map);
    add.Flag("--no-input", passwords.neverAsks)->excludes(ways.back());
}

void AddRun(OptionAdder& add, RunOptions& run, JournalOptions& journal)
{
    add.Value("--jobs", run.jobs)->transform(InRange(1, 256, "a number"));
    add.Value("--timeout", run.timeout)->transform(InRange(0.1, 86400.0, "a time"));
    add.Value("--memory-limit", run.memoryLimit)->transform(InRange(256, 1 << 20, "a number"));
    add.Value("--max-result", run.largestResult)->transform(InRange(0, 1 << 20, "a number"));
    add.Flag("--require-sandbox", run.requiresSandbox);
    add.Word("--engine", run.engine);
    add.Value("--journal", journal.path);
    add.Flag("--retry-failed", journal.retriesFailed);
    add.Flag("--fail-fast", run.failsFast);
    add.Flag("--strict", run.isStrict);
    add.Flag("--warning-exit-0", run.warningsAreFine);
    add.Value("--temp-dir", run.tempFolder);
    add.Flag("--keep-temp", run.keepsTemporaries);
}

void AddReporting(OptionAdder& add, Options& options)
{
    add.Flag("--inspect", options.run.inspects);
    add.Flag("--json", options.console.json);
    add.Word("--progress", options.console.progress);
    add.Flag("--quiet", options.console.quiet);
    add.Value("--verbose", options.console.verbosity)->transform(InRange(0, 99, "a level"));
}

void AddOptions(CLI::App& app, Given& given)
{
    OptionAdder add(app, OptionList());
    AddInputs(add, given.options.input);
    AddOutput(add, given);
    AddPages(add, given.options.pages);
    AddPasswords(add, given.options.passwords);
    AddRun(add, given.options.run, given.options.journal);
    add.Flag("--clean-temp", given.cleanTemp);
    AddReporting(add, given.options);
    add.Flag("--version", given.version);
    add.Word("--completion", given.completion);
    app.add_flag("--manual", given.manual); // for the build, and in no help
}

void AddReportOptions(CLI::App& app, ReportOptions& report)
{
    OptionAdder add(app, ReportOptionList());
    add.Files("JOURNAL", report.journals);
    add.Flag("--json", report.json);
    CLI::Option* const follow = add.Flag("--follow", report.follows);
    add.Flag("--verify", report.verifies)->excludes(follow);
}

[[noreturn]] void Refuse(const std::string& message)
{
    throw Failure(ExitCode::Usage, "usage", message);
}

/** Whether to do something that takes no documents; complains about what would be left undone. */
bool TakesNoDocument(const Given& given)
{
    const InputOptions& input = given.options.input;
    const bool hasResults =
        !given.options.output.path.empty() || !given.folder.empty() || !input.list.empty();
    const bool isAlone = given.cleanTemp != given.version && !given.options.console.json &&
                         !hasResults && (input.paths.empty() || given.cleanTemp);
    if ((given.cleanTemp || given.version) && !isAlone)
        Refuse(std::string(given.cleanTemp ? "--clean-temp" : "--version") +
               " does nothing else; leave documents, results and --json away");
    return isAlone;
}

/** The long names of the options that the command line names. */
std::set<std::string> Named(const CLI::App& app)
{
    std::set<std::string> names;
    for (const CLI::Option* const option : app.get_options()) {
        if (option->count() > 0)
            names.insert(option->get_name());
    }
    return names;
}

Options Complete(const Given& given, const CLI::App& app)
{
    using Command = Options::Command;
    Options options = given.options;
    if (options.run.tempFolder.empty())
        options.run.tempFolder = PDF::SessionFolder::DefaultParent();
    if (TakesNoDocument(given)) {
        options.command = given.version ? Command::Version : Command::CleanTemp;
        return options;
    }
    if (!given.folder.empty() || options.output.isBeside)
        PutInto(given.folder, options.input.isRecursive, options.output);
    CheckTogether(options, Named(app));
    return options;
}

Options ForReport(const ReportOptions& report)
{
    if (report.journals.empty())
        Refuse("there is no JOURNAL; name the journals to add up");
    Options options;
    options.command = Options::Command::Report;
    options.report = report;
    return options;
}

/** Whether it is an option with an empty value, such as "--journal=". */
bool IsEmptyOption(const std::string& argument)
{
    return std::any_of(OptionList().begin(), OptionList().end(), [&](const Option& option) {
        return option.TakesValue() && argument == option.names.back() + '=';
    });
}

/**
 * The arguments as CLI11 wants them, the last one first.
 *
 * An empty value is an argument of its own, as CLI11 would take the next one in its place.
 */
std::vector<std::string> ToParse(int argc, const char* const* argv)
{
    std::vector<std::string> arguments;
    bool mayBeOption = true;
    for (int i = 1; i < argc; ++i) {
        arguments.emplace_back(argv[i]);
        mayBeOption = mayBeOption && arguments.back() != "--";
        if (mayBeOption && IsEmptyOption(arguments.back())) {
            arguments.back().pop_back();
            arguments.emplace_back();
        }
    }
    std::reverse(arguments.begin(), arguments.end());
    return arguments;
}

/** What no option takes, without a value: it may be a password for an option misspelt. */
std::string MessageOfExtra(const std::string& argument)
{
    const std::string name = argument.substr(0, argument.find('='));
    return name == "-" ? "an option that takes no value is given one"
                       : "there is no option " + name;
}

/** What CLI11 complains of, in words for users. */
std::string MessageOf(const CLI::ParseError& error, const CLI::App& app)
{
    std::string text = error.what();
    const std::string name = text.substr(0, text.find(':'));
    switch (CLI::ExitCodes(error.get_exit_code())) {
    case CLI::ExitCodes::ExtrasError:
        return MessageOfExtra(app.remaining().front());
    case CLI::ExitCodes::ArgumentMismatch:
        return name +
               (text.find("missing") != text.npos ? " needs a value" : " is given more than once");
    case CLI::ExitCodes::ExcludesError:
        return QString::fromStdString(text).replace("excludes", "does not go with").toStdString();
    case CLI::ExitCodes::ConversionError:
        return QString::fromStdString(text).section(' ', 3, 3).toStdString() + " takes no value";
    default:
        return text;
    }
}

ParseResult Done(const Given& given, const CLI::App& app)
{
    if (!given.completion.empty())
        return {std::nullopt, ShellCompletion(given.completion), ExitCode::Done};
    if (given.manual)
        return {std::nullopt, ManualPage(), ExitCode::Done};
    return {Complete(given, app), {}, ExitCode::Done};
}

ParseResult UsageError(const std::string& message, const std::string& command)
{
    return {std::nullopt, "pdfconvert: " + message + "\nTry '" + command + " --help'.\n",
            ExitCode::Usage};
}

} // namespace

ParseResult ParseCommandLine(int argc, const char* const* argv)
{
    if (const std::string problem = ProblemOfArguments(argc, argv); !problem.empty())
        return UsageError(problem, "pdfconvert");
    Given given;
    CLI::App app;
    AddOptions(app, given);
    CLI::App& report = *app.add_subcommand("report");
    AddReportOptions(report, given.options.report);
    const bool isReport = argc > 1 && std::string_view(argv[1]) == "report";
    report.disabled(!isReport); // elsewhere the word is a file's name
    const char* const command = isReport ? "pdfconvert report" : "pdfconvert";
    try {
        auto parsed = ToParse(argc, argv);
        app.parse(parsed);
        if (isReport)
            return {ForReport(given.options.report), {}, ExitCode::Done};
        return Done(given, app);
    } catch (const CLI::CallForHelp&) {
        return {std::nullopt, isReport ? ReportHelpPage() : HelpPage(), ExitCode::Done};
    } catch (const CLI::ParseError& error) {
        return UsageError(MessageOf(error, isReport ? report : app), command);
    } catch (const Failure& failure) {
        return UsageError(failure.what(), command);
    }
}

} // namespace Korvel::App
