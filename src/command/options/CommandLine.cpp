#include "CommandLine.h"

#include "ManualPage.h"
#include "OptionTable.h"
#include "OutputTemplate.h"
#include "ReportOptionTable.h"
#include "ShellCompletion.h"
#include "Text.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <string_view>

namespace Korvel::App {

namespace {

ParseResult UsageError(const std::string& message, const std::string& command = "pdfconvert")
{
    return {std::nullopt, "pdfconvert: " + message + "\nTry '" + command + " --help'.\n",
            ExitCode::Usage};
}

ProgressStyle ToProgressStyle(const std::string& word)
{
    static const std::map<std::string, ProgressStyle> words{
        {"", ProgressStyle::Auto},     {"auto", ProgressStyle::Auto},
        {"bar", ProgressStyle::Bar},   {"plain", ProgressStyle::Plain},
        {"json", ProgressStyle::Json}, {"none", ProgressStyle::None}};
    return words.at(word);
}

OnExists ToOnExists(const std::string& word)
{
    static const std::map<std::string, OnExists> words{{"", OnExists::Number},
                                                       {"number", OnExists::Number},
                                                       {"fail", OnExists::Fail},
                                                       {"skip", OnExists::Skip},
                                                       {"overwrite", OnExists::Overwrite}};
    return words.at(word);
}

/** The template that -o, -d and -f come to. */
std::string OutputOf(const std::string& path, const std::string& folder, std::string& format)
{
    if (folder.empty())
        return path;
    const QString escaped = QString::fromStdString(folder).replace('%', "%%") + '/';
    if (!path.empty())
        return escaped.toStdString() + path;
    if (format.empty())
        format = "png";
    const bool isPicture = OutputTemplate::IsPictureFormat(QString::fromStdString(format));
    return escaped.toStdString() + (isPicture ? "%s-%d." : "%s.") + format;
}

/** Whether to do something that needs no input; complains about what else would be left undone. */
bool NeedsNoInput(const Arguments& arguments)
{
    const InputOptions& input = arguments.options.input;
    const bool isOnly = arguments.cleanTemp != arguments.version &&
                        !arguments.options.console.json && input.paths.empty() &&
                        input.list.empty();
    if ((arguments.cleanTemp || arguments.version) && !isOnly)
        throw Failure(ExitCode::Usage, "usage",
                      std::string(arguments.cleanTemp ? "--clean-temp" : "--version") +
                          " does nothing else; leave inputs and --json away");
    return isOnly;
}

/** Takes over what CLI11 has no type for, and complains about what does not go together. */
Options Complete(const Arguments& arguments)
{
    const auto refuse = [](const std::string& message) {
        throw Failure(ExitCode::Usage, "usage", message);
    };
    Options options = arguments.options;
    if (NeedsNoInput(arguments)) {
        options.command =
            arguments.version ? Options::Command::Version : Options::Command::CleanTemp;
        return options;
    }
    InputOptions& input = options.input;
    OutputOptions& output = options.output;
    const PasswordOptions& passwords = options.passwords;
    const RunOptions& run = options.run;
    const auto standardInputs = std::count(input.paths.begin(), input.paths.end(), "-");
    if (input.paths.empty() && input.list.empty())
        refuse("there is no INPUT; name the PDFs to convert");
    if (standardInputs + int(input.list == "-") + int(passwords.file == "-") +
            int(passwords.map == "-") + int(passwords.descriptor == 0) >
        1)
        refuse("standard input can be read only once; it is named by several '-'");
    if (input.isListNulSeparated && input.list.empty())
        refuse("-0 goes with --from-list only");
    input.shard = Shard::Parse(arguments.shard);
    if (input.shard && (input.list.empty() || !input.paths.empty()))
        refuse("--shard goes with --from-list only, and with no INPUT: every run would convert it");

    if (options.journal.retriesFailed && options.journal.path.empty())
        refuse("--retry-failed goes with --journal only");
    if (!options.journal.path.empty() && (run.isDry || run.inspects || run.failsFast ||
                                          output.IsStandardOutput() || standardInputs > 0))
        refuse("--journal goes neither with standard input or output as a document, nor with "
               "--dry-run, --inspect or --fail-fast");

    options.console.progress = ToProgressStyle(arguments.progress);
    options.pages.size = ToSize(arguments.size);
    if (run.inspects) {
        output = OutputOptions(); // there are no results
        return options;
    }
    const std::string given = output.path;
    if (given.empty() && arguments.folder.empty())
        refuse("there is neither --output nor --directory to say where the results go");
    output.onExists = ToOnExists(arguments.onExists);
    output.path = OutputOf(given, arguments.folder, output.format);
    if (output.IsStandardOutput() && output.format.empty())
        refuse("-o - needs a format; name it with -f");
    if (output.IsStandardOutput() && options.console.json)
        refuse("--json writes to standard output, and so does -o -");
    if (!arguments.folder.empty() && (given == "-" || given[0] == '/'))
        refuse("-o " + given + " does not go with --directory");
    const QString wanted = QString::fromStdString(output.format);
    const QString format =
        output.IsStandardOutput()
            ? wanted
            : OutputTemplate::Parse(QString::fromStdString(output.path), wanted).Format();
    if (!options.pages.ranges.empty() && format == QLatin1String("pdf"))
        refuse("--pages does not go with a PDF as output, which is converted whole");
    return options;
}

Options ToOptions(const ReportOptions& report)
{
    if (report.journals.empty())
        throw Failure(ExitCode::Usage, "usage", "there is no JOURNAL; name the journals to add up");
    Options options;
    options.command = Options::Command::Report;
    options.report = report;
    return options;
}

/** Whether it is an option with an empty value, such as "--journal=". */
bool IsEmptyOption(const CLI::App& table, const std::string& argument)
{
    if (argument.compare(0, 2, "--") != 0 || argument.back() != '=')
        return false;
    const auto* const option = table.get_option_no_throw(argument.substr(0, argument.size() - 1));
    return option && option->get_items_expected_max() > 0;
}

/**
 * The arguments as CLI11 wants them, the last one first.
 *
 * An empty value is an argument of its own, as CLI11 would take the next one in its place.
 */
std::vector<std::string> ToParse(const CLI::App& table, int argc, const char* const* argv)
{
    std::vector<std::string> arguments;
    bool mayBeOption = true;
    for (int i = 1; i < argc; ++i) {
        arguments.emplace_back(argv[i]);
        mayBeOption = mayBeOption && arguments.back() != "--";
        if (mayBeOption && IsEmptyOption(table, arguments.back())) {
            arguments.back().pop_back();
            arguments.emplace_back();
        }
    }
    std::reverse(arguments.begin(), arguments.end());
    return arguments;
}

/** An argument without a value, which may be a password for an option that is misspelt. */
std::string OptionIn(const std::string& argument)
{
    return argument.substr(0, argument.find('='));
}

/** The value of --password in an argument; null when it holds none. */
const char* PasswordIn(const char* const* argv, int i)
{
    constexpr std::string_view option = "--password";
    if (argv[i - 1] == option)
        return argv[i];
    const bool isBoth = std::string_view(argv[i]).substr(0, option.size() + 1) == "--password=";
    return isBoth ? argv[i] + option.size() + 1 : nullptr;
}

} // namespace

ParseResult ParseCommandLine(int argc, const char* const* argv)
{
    for (int i = 1; i < argc; ++i) {
        if (!IsUtf8(argv[i]) && PasswordIn(argv, i))
            return UsageError("the password is not valid UTF-8; give it with --password-file");
        if (!IsUtf8(argv[i]))
            return UsageError("the argument '" + Escaped(argv[i]) +
                              "' is not valid UTF-8; rename the file");
        if (HasMark(argv[i]))
            return UsageError("an argument begins with a byte order mark; put ./ in front of it "
                              "where it is a file");
    }

    Arguments arguments;
    ReportOptions summary;
    const bool isReport = argc > 1 && std::string_view(argv[1]) == "report";
    const std::unique_ptr<CLI::App> table =
        isReport ? MakeReportTable(summary) : MakeOptionTable(arguments);
    try {
        table->parse(ToParse(*table, argc - int(isReport), argv + int(isReport)));
        if (isReport)
            return {ToOptions(summary), {}, ExitCode::Done};
        if (!arguments.completion.empty())
            return {std::nullopt,
                    ShellCompletion(*table, *MakeReportTable(summary), arguments.completion),
                    ExitCode::Done};
        if (arguments.manual)
            return {std::nullopt, ManualPage(*table, *MakeReportTable(summary)), ExitCode::Done};
        return {Complete(arguments), {}, ExitCode::Done};
    } catch (const CLI::CallForHelp&) {
        // CLI11 puts two empty lines behind each group.
        return {std::nullopt,
                QString::fromStdString(table->help()).replace("\n\n\n", "\n\n").toStdString(),
                ExitCode::Done};
    } catch (const CLI::ExtrasError&) {
        return UsageError("there is no option " + OptionIn(table->remaining().front()),
                          table->get_name());
    } catch (const CLI::ParseError& error) {
        return UsageError(error.what(), table->get_name());
    } catch (const Failure& failure) {
        return UsageError(failure.what(), table->get_name());
    }
}

void HidePassword(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i) {
        if (const char* const password = PasswordIn(argv, i))
            std::memset(argv[i] + (password - argv[i]), '*', std::strlen(password));
    }
}

} // namespace Korvel::App
