#include "CommandLine.h"

#include "OutputPlan.h"
#include "PageRanges.h"
#include "Text.h"

#include <algorithm>
#include <cstring>
#include <map>

#include <QRegularExpression>

#include <CLI/CLI.hpp>

namespace Korvel::App {

namespace {

constexpr char description[] =
    "Converts PDFs, encrypted or not, to pictures of their pages, to text, or to PDFs\n"
    "without encryption. An existing file is not overwritten: where page.png is\n"
    "taken, the result is page(2).png.\n";

constexpr char footer[] = R"(
Examples:
  pdfconvert report.pdf -o pages/page-%d.png
      every page as a picture: pages/page-1.png, pages/page-2.png, ...
  pdfconvert report.pdf -o page.jpg -r 300 --pages 1-3,7
      four pages at 300 dots per inch: page-1.jpg, ..., page-7.jpg
  pdfconvert secret.pdf --password-file pw -o secret.txt
      the text of an encrypted document; the file pw holds the password
  pdfconvert secret.pdf -o open.pdf
      a copy without encryption; the password is asked for on the terminal
  pdfconvert *.pdf -d pages
      every page of many documents: pages/report-1.png, ...
  find . -name '*.pdf' -print0 | pdfconvert --from-list - -0 -d texts -f txt
      the texts of all PDFs below this folder
  pdfconvert report.pdf --inspect
      pages, version, encryption and permissions
  curl ... | pdfconvert - -o - -f txt | less
      from standard input to standard output

The final paths go to standard output, one a line in page order; everything else
goes to standard error. A document that fails does not stop the others.

Exit codes:
    0  done
    1  the installation is broken, or something unforeseen happened
    2  wrong usage
    3  done, with a warning that the result wants a look
    4  the input is missing, unreadable or not a PDF
    5  the output cannot be written
    6  the output exists, under --on-exists fail
    7  the conversion failed
    8  a password is missing or wrong
   10  several inputs, and some of them were not converted
  124  a document took longer than it was given
  130  interrupted by Ctrl+C; 128 and the signal's number for others)";

/** Puts what can be said about the inputs into the usage line, which CLI11 leaves away. */
class Formatter : public CLI::Formatter
{
    std::string make_usage(const CLI::App*, std::string) const override
    {
        return "Usage: pdfconvert INPUT... -o OUTPUT [OPTIONS]\n"
               "       pdfconvert INPUT... -d FOLDER [-f FORMAT] [OPTIONS]\n";
    }
};

ParseResult UsageError(const std::string& message)
{
    return {std::nullopt, "pdfconvert: " + message + "\nTry 'pdfconvert --help'.\n",
            ExitCode::Usage};
}

/** What the options' values are read into, before they are what CommandLine wants. */
struct Arguments
{
    CommandLine line;
    std::vector<std::string> inputs;
    std::string output;
    std::string folder;
    std::string format;
    std::string onExists;
    std::string size;
    std::string progress;
};

/** Complains about a text that is no number from `least` to `most`. */
template <typename Number>
CLI::Validator InRange(Number least, Number most, const std::string& what)
{
    const auto check = [=](const std::string& text) -> std::string {
        bool isNumber = false;
        const double value = QString::fromStdString(text).toDouble(&isNumber);
        const bool isWhole = std::is_floating_point_v<Number> || value == int(value);
        if (isNumber && value >= least && value <= most && isWhole)
            return {};
        std::ostringstream complaint;
        complaint << "'" << text << "' is not " << what << " from " << least << " to " << most;
        return complaint.str();
    };
    return CLI::Validator(check, {});
}

/** An option with a value, which the help calls `value`. */
template <typename Value>
CLI::Option* Add(CLI::App& app, const char* names, Value& into, const char* value, const char* help)
{
    return app.add_option(names, into, help)->type_name(value)->option_text(value);
}

void AddInputs(CLI::App& app, Arguments& arguments)
{
    app.add_option("INPUT", arguments.inputs, "The PDFs to convert; - for standard input")
        ->option_text(" ");
    Add(app, "--from-list", arguments.line.listFile, "FILE",
        "Convert the files that FILE names as well, one a\nline; - for standard input")
        ->group("Inputs");
    app.add_flag("-0,--null", arguments.line.isListNulSeparated,
                 "The list's names are ended by NUL, as by find -print0")
        ->group("Inputs");
}

void AddOutput(CLI::App& app, Arguments& arguments)
{
    Add(app, "-o,--output", arguments.output, "OUTPUT",
        "Where the results go. The suffix gives the format.\n"
        "%d stands for the page number, %03d for the page\n"
        "number in three digits, %s for the input's name\n"
        "without its suffix, %% for a percent sign. Without\n"
        "%d several pictures get -NN before the suffix.\n"
        "Missing folders are made. - is standard output, for\n"
        "one result")
        ->group("Output");
    Add(app, "-d,--directory", arguments.folder, "FOLDER",
        "The folder for the results; without -o they are\n"
        "called %s-%d for pictures and %s for the others")
        ->group("Output");
    Add(app, "-f,--format", arguments.format, "FORMAT",
        "png, jpg, jpeg, tif, tiff, bmp, webp, txt or pdf,\n"
        "whatever the suffix; png with -d alone")
        ->group("Output")
        ->check([](const std::string& text) -> std::string {
            const QStringList formats = OutputTemplate::Formats();
            if (formats.contains(QString::fromStdString(text).toLower()))
                return {};
            return "'" + text + "' is none of the formats " +
                   formats.join(QStringLiteral(", ")).toStdString();
        });
    Add(app, "--on-exists", arguments.onExists, "WHAT",
        "When a result's name is taken: number (the default:\n"
        "page(2).png), fail, skip, or overwrite, which\n"
        "replaces each file in one step once its result is\n"
        "whole")
        ->group("Output")
        ->check(CLI::IsMember({"number", "fail", "skip", "overwrite"}));
    app.add_flag("--dry-run", arguments.line.dryRun, "Print the results' paths and convert nothing")
        ->group("Output");
}

/** An empty size for what is none. */
QSize ToSize(const std::string& text)
{
    static const QRegularExpression form(QStringLiteral("^([1-9][0-9]{0,4})x([1-9][0-9]{0,4})$"));
    const auto match = form.match(QString::fromStdString(text));
    const QSize size(match.captured(1).toInt(), match.captured(2).toInt());
    return std::max(size.width(), size.height()) <= 65000 ? size : QSize();
}

void AddLook(CLI::App& app, Arguments& arguments)
{
    CommandLine& line = arguments.line;
    Add(app, "--pages", line.pages, "LIST",
        "Only these pages, such as 1-3,7,9- or last (9- is\nfrom page 9 to the last)")
        ->group("Pages")
        ->check([](const std::string& text) -> std::string {
            try {
                PageRanges::Parse(text);
                return {};
            } catch (const Failure& failure) {
                return failure.what();
            }
        });
    auto* const resolution =
        Add(app, "-r,--resolution", line.resolution, "DPI",
            "Resolution of pictures in dots per inch, from 1 to\n4800; 150 without this")
            ->group("Pages")
            ->check(InRange(1.0, 4800.0, "a resolution"));
    Add(app, "--size", arguments.size, "WxH", "Make pictures as large as fits into W x H pixels")
        ->group("Pages")
        ->excludes(resolution)
        ->check([](const std::string& text) {
            return ToSize(text).isEmpty()
                       ? "'" + text + "' is not a size such as 1920x1080, up to 65000x65000"
                       : std::string();
        });
    app.add_flag("--gray", line.gray, "Make pictures gray")->group("Pages");
    Add(app, "--quality", line.quality, "N",
        "Quality of jpg and webp pictures, from 1 to 100; 90\nwithout this")
        ->group("Pages")
        ->check(InRange(1, 100, "a quality"));
}

void AddPasswords(CLI::App& app, CommandLine& line)
{
    const auto add = [&app](const char* names, auto& into, const char* value, const char* help) {
        return Add(app, names, into, value, help)->group("Passwords");
    };
    std::vector<CLI::Option*> ways{
        add("--password-file", line.passwordFile, "FILE",
            "Read the password from the first line of FILE, or of\n"
            "standard input when FILE is -"),
        add("--password-env", line.passwordVariable, "NAME",
            "Read the password from the environment variable\n"
            "NAME; without any option PDFCONVERT_PASSWORD is\n"
            "read if it is set"),
        add("--password-fd", line.passwordDescriptor, "N",
            "Read the password from the file descriptor N")
            ->check(InRange(0, 1 << 20, "a file descriptor")),
        add("--password", line.password, "TEXT",
            "The password itself. Other users of this machine can\n"
            "see it in the list of processes"),
        app.add_flag("--ask-password", line.askPassword,
                     "Ask for the password on the terminal before\n"
                     "anything is opened; without any option it is asked\n"
                     "for when a document needs it")
            ->group("Passwords")};
    for (CLI::Option* const way : ways) {
        for (CLI::Option* const other : ways) {
            if (way != other)
                way->excludes(other);
        }
    }
    add("--password-map", line.passwordMap, "FILE",
        "Passwords for many inputs: a line for each, its path,\n"
        "a tab and its password");
    app.add_flag("--no-input", line.noInput, "Never ask for anything")
        ->group("Passwords")
        ->excludes(ways.back());
}

void AddRun(CLI::App& app, CommandLine& line)
{
    Add(app, "-j,--jobs", line.jobs, "N",
        "How many pages are converted at once; as many as\nthere are processors without this")
        ->group("Running")
        ->check(InRange(1, 256, "a number"));
    Add(app, "--timeout", line.timeout, "SECONDS",
        "How long a document may take to open, and how long\nto convert; without this 600 for each "
        "page")
        ->group("Running")
        ->check(InRange(0.1, 86400.0, "a time"));
    Add(app, "--memory-limit", line.memoryLimit, "MB",
        "How much memory a worker process may use, from 256;\n4096 without this")
        ->group("Running")
        ->check(InRange(256, 1 << 20, "a number"));
    app.add_flag("--fail-fast", line.failFast, "Stop at the first document that fails")
        ->group("Running");
    app.add_flag("--warning-exit-0", line.warningsAreFine,
                 "End with 0 instead of 3 when there were warnings only")
        ->group("Running");
    Add(app, "--temp-dir", line.tempDir, "DIR",
        "Where the folder for temporary files is made, which\n"
        "only you can read and which is removed at the end;\n"
        "$TMPDIR or /tmp without this")
        ->group("Running");
}

void AddReporting(CLI::App& app, Arguments& arguments)
{
    CommandLine& line = arguments.line;
    app.add_flag("--inspect", line.inspect,
                 "Print pages, version, encryption and permissions of\n"
                 "the inputs, and convert nothing")
        ->group("Reporting");
    app.add_flag("--json", line.json,
                 "Print one JSON document at the end in place of the\n"
                 "results' paths")
        ->group("Reporting");
    Add(app, "--progress", arguments.progress, "HOW",
        "How progress shows on standard error: auto (the\n"
        "default: a bar on a terminal, a line every 5 seconds\n"
        "elsewhere), bar, plain, json (events, a line each, in\n"
        "place of all messages) or none")
        ->group("Reporting")
        ->check(CLI::IsMember({"auto", "bar", "plain", "json", "none"}));
    app.add_flag("-q,--quiet", line.quiet, "No progress and no warnings, only errors")
        ->group("Reporting");
    Add(app, "-v,--verbose", line.verbosity, "N",
        "Log to standard error, up to level N from 1 to 99")
        ->group("Reporting")
        ->check(InRange(0, 99, "a level"));
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
QString OutputOf(const Arguments& arguments, QString& format)
{
    const QString output = QString::fromStdString(arguments.output);
    if (arguments.folder.empty())
        return output;
    const QString folder = QString::fromStdString(arguments.folder).replace('%', "%%") + '/';
    if (!output.isEmpty())
        return folder + output;
    if (format.isEmpty())
        format = QStringLiteral("png");
    const bool isPicture = OutputTemplate::IsPictureFormat(format);
    return folder + (isPicture ? QStringLiteral("%s-%d.") : QStringLiteral("%s.")) + format;
}

/** Takes over what CLI11 has no type for, and complains about what does not go together. */
CommandLine Complete(const Arguments& arguments)
{
    const auto refuse = [](const std::string& message) {
        throw Failure(ExitCode::Usage, "usage", message);
    };
    CommandLine line = arguments.line;
    for (const std::string& input : arguments.inputs)
        line.inputs.append(QString::fromStdString(input));
    if (line.inputs.isEmpty() && line.listFile.empty())
        refuse("there is no INPUT; name the PDFs to convert");
    if (line.inputs.count(QStringLiteral("-")) + int(line.listFile == "-") +
            int(line.passwordFile == "-") + int(line.passwordMap == "-") +
            int(line.passwordDescriptor == 0) >
        1)
        refuse("standard input can be read only once; it is named by several '-'");
    if (line.isListNulSeparated && line.listFile.empty())
        refuse("-0 goes with --from-list only");

    line.progress = ToProgressStyle(arguments.progress);
    line.size = ToSize(arguments.size);
    if (line.inspect)
        return line;
    if (arguments.output.empty() && arguments.folder.empty())
        refuse("there is neither --output nor --directory to say where the results go");
    line.format = QString::fromStdString(arguments.format).toLower();
    line.onExists = ToOnExists(arguments.onExists);
    line.output = OutputOf(arguments, line.format);
    if (line.WritesToStandardOutput() && line.format.isEmpty())
        refuse("-o - needs a format; name it with -f");
    if (line.WritesToStandardOutput() && line.json)
        refuse("--json writes to standard output, and so does -o -");
    if (!arguments.folder.empty() && (arguments.output == "-" || arguments.output[0] == '/'))
        refuse("-o " + arguments.output + " does not go with --directory");
    const QString format = line.WritesToStandardOutput()
                               ? line.format
                               : OutputTemplate::Parse(line.output, line.format).Format();
    if (!line.pages.empty() && format == QLatin1String("pdf"))
        refuse("--pages does not go with a PDF as output, which is converted whole");
    return line;
}

} // namespace

ParseResult ParseCommandLine(int argc, const char* const* argv)
{
    for (int i = 1; i < argc; ++i) {
        if (!IsUtf8(argv[i]))
            return UsageError("the argument '" + Escaped(argv[i]) +
                              "' is not valid UTF-8; rename the file");
    }

    Arguments arguments;
    CLI::App app(description, "pdfconvert");
    app.footer(footer);
    app.set_version_flag("--version", "pdfconvert " PROJECT_VERSION, "Print the version and exit");
    app.set_help_flag("-h,--help", "Print this help and exit");
    const auto formatter = std::make_shared<Formatter>();
    formatter->column_width(28);
    app.formatter(formatter);
    AddInputs(app, arguments);
    AddOutput(app, arguments);
    AddLook(app, arguments);
    AddPasswords(app, arguments.line);
    AddRun(app, arguments.line);
    AddReporting(app, arguments);

    try {
        app.parse(argc, argv);
        return {Complete(arguments), {}, ExitCode::Done};
    } catch (const CLI::CallForVersion& version) {
        return {std::nullopt, std::string(version.what()) + "\n", ExitCode::Done};
    } catch (const CLI::CallForHelp&) {
        return {std::nullopt, app.help(), ExitCode::Done};
    } catch (const CLI::ParseError& error) {
        return UsageError(error.what());
    } catch (const Failure& failure) {
        return UsageError(failure.what());
    }
}

void HidePassword(int argc, char** argv)
{
    constexpr char option[] = "--password";
    constexpr std::size_t length = sizeof option - 1;
    for (int i = 1; i < argc; ++i) {
        char* value = nullptr;
        if (std::strcmp(argv[i], option) == 0 && i + 1 < argc)
            value = argv[i + 1];
        else if (std::strncmp(argv[i], option, length) == 0 && argv[i][length] == '=')
            value = argv[i] + length + 1;
        if (value)
            std::memset(value, '*', std::strlen(value));
    }
}

} // namespace Korvel::App
