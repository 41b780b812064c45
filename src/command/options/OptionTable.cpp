#include "OptionTable.h"

#include "Failure.h"
#include "OutputTemplate.h"
#include "PageRanges.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>

#include <QRegularExpression>

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
  pdfconvert --from-list all.txt --journal all.journal -d pages
      the same command again goes on after a crash
  pdfconvert report.pdf --inspect
      pages, version, encryption and permissions
  curl ... | pdfconvert - -o - -f txt | less
      from standard input to standard output
  pdfconvert report *.journal
      what has become of all documents; pdfconvert report --help tells more

The final paths go to standard output, one a line in page order; everything else
goes to standard error. A document that fails does not stop the others.

Exit codes:
    0  done
    1  the installation is broken, or something unforeseen happened
    2  wrong usage
    3  done, with a warning that the result wants a look
    4  the input is missing, unreadable or not a PDF
    5  the output cannot be written, or the journal is another run's
    6  the output exists, under --on-exists fail
    7  the conversion failed
    8  a password is missing or wrong
   10  several inputs, and some of them were not converted; with --journal
       also when none of them was, or some were not by an earlier run
  124  a document took longer than it was given
  130  interrupted by Ctrl+C; 128 and the signal's number for others)";

std::vector<std::string> Formats()
{
    std::vector<std::string> formats;
    for (const QString& format : OutputTemplate::Formats())
        formats.push_back(format.toStdString());
    return formats;
}

/** Puts what can be said about the inputs into the usage line, which CLI11 leaves away. */
class Formatter : public CLI::Formatter
{
    std::string make_usage(const CLI::App*, std::string) const override
    {
        return "Usage: pdfconvert INPUT... -o OUTPUT [OPTIONS]\n"
               "       pdfconvert INPUT... -d FOLDER [-f FORMAT] [OPTIONS]\n"
               "       pdfconvert report JOURNAL... [--json] [--follow]\n";
    }
};

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

/** An option with a value, which the help calls `value`. */
template <typename Value>
CLI::Option* AddAny(CLI::App& app, const char* names, Value& into, const char* value,
                    const char* help)
{
    return app.add_option(names, into, help)->type_name(value)->option_text(value);
}

/** The same without empty values: most often a script has forgotten to set a variable. */
template <typename Value>
CLI::Option* Add(CLI::App& app, const char* names, Value& into, const char* value, const char* help)
{
    return AddAny(app, names, into, value, help)->check([](const std::string& text) -> std::string {
        return text.empty() ? "the value is empty; is a variable not set?" : "";
    });
}

void AddInputs(CLI::App& app, Arguments& arguments)
{
    AddNames(app, "INPUT", arguments.options.input.paths,
             "The PDFs to convert; - for standard input");
    Add(app, "--from-list", arguments.options.input.list, "FILE",
        "Convert the files that FILE names as well, one a\nline; - for standard input")
        ->group("Inputs");
    app.add_flag("-0,--null", arguments.options.input.isListNulSeparated,
                 "The list's names are ended by NUL, as by find -print0")
        ->group("Inputs");
    Add(app, "--shard", arguments.shard, "K/N",
        "Convert the K-th of N shares of the list, K from 1;\na file is always in the same share, "
        "whatever else\nthe list names")
        ->group("Inputs")
        ->check([](const std::string& text) -> std::string {
            return Shard::Parse(text) ? ""
                                      : "'" + text +
                                            "' is no share; shares of 8 are 1/8 to 8/8, so number "
                                            "the tasks from 1";
        });
}

void AddOutput(CLI::App& app, Arguments& arguments)
{
    Add(app, "-o,--output", arguments.options.output.path, "OUTPUT",
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
    Add(app, "-f,--format", arguments.options.output.format, "FORMAT",
        "png, jpg, jpeg, tif, tiff, bmp, webp, txt or pdf,\n"
        "whatever the suffix; png with -d alone")
        ->group("Output")
        ->transform(CLI::IsMember(ChoicesOf("format"), CLI::ignore_case));
    Add(app, "--on-exists", arguments.onExists, "WHAT",
        "When a result's name is taken: number (the default:\n"
        "page(2).png), fail, skip, or overwrite, which\n"
        "replaces each file in one step once its result is\n"
        "whole")
        ->group("Output")
        ->check(CLI::IsMember(ChoicesOf("on-exists")));
    app.add_flag("--dry-run", arguments.options.run.isDry,
                 "Print the results' paths and convert nothing")
        ->group("Output");
}

void AddLook(CLI::App& app, Arguments& arguments)
{
    PageOptions& pages = arguments.options.pages;
    Add(app, "--pages", pages.ranges, "LIST",
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
        Add(app, "-r,--resolution", pages.resolution, "DPI",
            "Resolution of pictures in dots per inch, from 1 to\n4800; 150 without this")
            ->group("Pages")
            ->transform(InRange(1.0, 4800.0, "a resolution"));
    Add(app, "--size", arguments.size, "WxH", "Make pictures as large as fits into W x H pixels")
        ->group("Pages")
        ->excludes(resolution)
        ->check([](const std::string& text) {
            return ToSize(text).isEmpty()
                       ? "'" + text + "' is not a size such as 1920x1080, up to 65000x65000"
                       : std::string();
        });
    app.add_flag("--gray", pages.gray, "Make pictures gray")->group("Pages");
    Add(app, "--quality", pages.quality, "N",
        "Quality of jpg and webp pictures, from 1 to 100; 90\nwithout this")
        ->group("Pages")
        ->transform(InRange(1, 100, "a quality"));
    Add(app, "--compression", pages.compression, "WHAT",
        "How png pictures are packed: fast (the default), or\n"
        "small, a quarter smaller but slower to make")
        ->group("Pages")
        ->check(CLI::IsMember(ChoicesOf("compression")));
}

void AddPasswords(CLI::App& app, PasswordOptions& passwords)
{
    const auto add = [&app](const char* names, auto& into, const char* value, const char* help) {
        return Add(app, names, into, value, help)->group("Passwords");
    };
    std::vector<CLI::Option*> ways{
        add("--password-file", passwords.file, "FILE",
            "Read the password from the first line of FILE, or of\n"
            "standard input when FILE is -"),
        add("--password-env", passwords.variable, "NAME",
            "Read the password from the environment variable\n"
            "NAME; without any option PDFCONVERT_PASSWORD is\n"
            "read if it is set"),
        add("--password-fd", passwords.descriptor, "N",
            "Read the password from the file descriptor N")
            ->transform(InRange(0, 1 << 20, "a file descriptor")),
        AddAny(app, "--password", passwords.password, "TEXT",
               "The password itself. Other users of this machine can\n"
               "see it in the list of processes")
            ->group("Passwords"),
        app.add_flag("--ask-password", passwords.asksFirst,
                     "Ask for the password on the terminal before\n"
                     "anything is opened; without any option it is asked\n"
                     "for when a document needs it")
            ->option_text(" ")
            ->group("Passwords")};
    for (CLI::Option* const way : ways) {
        for (CLI::Option* const other : ways) {
            if (way != other)
                way->excludes(other);
        }
    }
    add("--password-map", passwords.map, "FILE",
        "Passwords for many inputs: a line for each, its path,\n"
        "a tab and its password");
    app.add_flag("--no-input", passwords.neverAsks, "Never ask for anything")
        ->group("Passwords")
        ->option_text(" ")
        ->excludes(ways.back());
}

void AddRun(CLI::App& app, Arguments& arguments)
{
    RunOptions& run = arguments.options.run;
    JournalOptions& journal = arguments.options.journal;
    Add(app, "-j,--jobs", run.jobs, "N",
        "How many pages, of one document or several, are\nconverted at once; as many as there are "
        "processors\nwithout this")
        ->group("Running")
        ->transform(InRange(1, 256, "a number"));
    Add(app, "--timeout", run.timeout, "SECONDS",
        "How long a document may take to open, and how long\nto convert; without this 600 for each "
        "page")
        ->group("Running")
        ->transform(InRange(0.1, 86400.0, "a time"));
    Add(app, "--memory-limit", run.memoryLimit, "MB",
        "How much memory a worker process may use, from 256;\n1024 without this")
        ->group("Running")
        ->transform(InRange(256, 1 << 20, "a number"));
    Add(app, "--journal", journal.path, "FILE",
        "Write down in FILE what becomes of each document, and\n"
        "go on where a run that was killed has ended: what is\n"
        "done stays, what was in work is done again")
        ->group("Running");
    app.add_flag("--retry-failed", journal.retriesFailed,
                 "Convert also what the journal says has failed")
        ->group("Running");
    app.add_flag("--fail-fast", run.failsFast, "Stop at the first document that fails")
        ->group("Running");
    app.add_flag("--warning-exit-0", run.warningsAreFine,
                 "End with 0 instead of 3 when there were warnings only")
        ->group("Running");
    Add(app, "--temp-dir", run.tempFolder, "DIR",
        "Where the folder for temporary files is made, which\n"
        "only you can read and which is removed at the end;\n"
        "$TMPDIR or /tmp without this")
        ->group("Running");
    app.add_flag("--keep-temp", run.keepsTemporaries,
                 "Leave the temporary files where they are and say\n"
                 "where; they show what encrypted documents say")
        ->group("Running");
    app.add_flag("--clean-temp", arguments.cleanTemp,
                 "Remove the folders that killed runs have left there,\n"
                 "print their paths, and do nothing else")
        ->group("Running");
}

void AddReporting(CLI::App& app, Arguments& arguments)
{
    ConsoleOptions& console = arguments.options.console;
    app.add_flag("--inspect", arguments.options.run.inspects,
                 "Print pages, version, encryption and permissions of\n"
                 "the inputs, and convert nothing")
        ->group("Reporting");
    app.add_flag("--json", console.json,
                 "Print one JSON document at the end in place of the\n"
                 "results' paths")
        ->group("Reporting");
    Add(app, "--progress", arguments.progress, "HOW",
        "How progress shows on standard error: auto (the\n"
        "default: a bar on a terminal, a line every 5 seconds\n"
        "elsewhere), bar, plain, json (events, a line each, in\n"
        "place of all messages) or none")
        ->group("Reporting")
        ->check(CLI::IsMember(ChoicesOf("progress")));
    app.add_flag("-q,--quiet", console.quiet, "No progress and no warnings, only errors")
        ->group("Reporting");
    Add(app, "-v,--verbose", console.verbosity, "N",
        "Log to standard error, up to level N from 1 to 99")
        ->group("Reporting")
        ->transform(InRange(0, 99, "a level"));
}

void AddHelp(CLI::App& app, Arguments& arguments)
{
    app.set_help_flag("-h,--help", "Print this help and exit")->group("Help");
    app.add_flag("--version", arguments.version,
                 "Print the version and what keeps documents from\n"
                 "doing damage on this machine, and exit")
        ->group("Help");
    Add(app, "--completion", arguments.completion, "SHELL",
        "Print a script that completes this command's options\nin bash, zsh or fish, and exit")
        ->group("Help")
        ->check(CLI::IsMember(ChoicesOf("completion")));
    // For the build, which installs what it prints.
    app.add_flag("--manual", arguments.manual)->group("");
}

} // namespace

void AddNames(CLI::App& app, const char* what, std::vector<std::string>& into, const char* help)
{
    // Where more may always follow, CLI11 takes "[a,b]" for two names. So it waits for as many as
    // there can be, and minds none that does not come.
    constexpr int all = CLI::detail::expected_max_vector_size;
    app.add_option(what, into, help)
        ->option_text(" ")
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->expected(all, all)
        ->allow_extra_args(false);
}

QSize ToSize(const std::string& text)
{
    static const QRegularExpression form(QStringLiteral("^([1-9][0-9]{0,4})x([1-9][0-9]{0,4})$"));
    const auto match = form.match(QString::fromStdString(text));
    const QSize size(match.captured(1).toInt(), match.captured(2).toInt());
    return std::max(size.width(), size.height()) <= 65000 ? size : QSize();
}

std::vector<std::string> ChoicesOf(const std::string& option)
{
    static const std::map<std::string, std::vector<std::string>> choices{
        {"compression", {"fast", "small"}},
        {"completion", {"bash", "zsh", "fish"}},
        {"format", Formats()},
        {"on-exists", {"number", "fail", "skip", "overwrite"}},
        {"progress", {"auto", "bar", "plain", "json", "none"}}};
    const auto found = choices.find(option);
    return found == choices.end() ? std::vector<std::string>() : found->second;
}

std::unique_ptr<CLI::App> MakeOptionTable(Arguments& arguments)
{
    auto table = std::make_unique<CLI::App>(description, "pdfconvert");
    table->footer(footer);
    const auto formatter = std::make_shared<Formatter>();
    formatter->column_width(27);
    table->formatter(formatter);
    AddInputs(*table, arguments);
    AddOutput(*table, arguments);
    AddLook(*table, arguments);
    AddPasswords(*table, arguments.options.passwords);
    AddRun(*table, arguments);
    AddReporting(*table, arguments);
    AddHelp(*table, arguments);
    return table;
}

} // namespace Korvel::App
