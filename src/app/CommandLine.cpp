#include "CommandLine.h"

#include "OutputPlan.h"
#include "PageRanges.h"

#include <sstream>

#include <CLI/CLI.hpp>

namespace Korvel::App {

namespace {

constexpr char description[] =
    "Converts a PDF, encrypted or not, to pictures of its pages, to text, or to a PDF\n"
    "without encryption. An existing file is never overwritten: where page.png is\n"
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

The final paths go to standard output, one a line in page order; everything else
goes to standard error.

Exit codes:
    0  done
    1  the installation is broken, or something unforeseen happened
    2  wrong usage
    4  the input is missing, unreadable or not a PDF
    5  the output cannot be written
    7  the conversion failed
    8  a password is missing or wrong
  130  interrupted by Ctrl+C; 128 and the signal's number for others)";

bool IsUtf8(const char* bytes)
{
    return QString::fromUtf8(bytes).toUtf8() == bytes;
}

/** Bytes that make no text, as \xNN. */
std::string Escaped(const char* bytes)
{
    std::ostringstream text;
    for (const char* byte = bytes; *byte; ++byte) {
        const auto value = static_cast<unsigned char>(*byte);
        if (value >= 0x20 && value < 0x7f)
            text << *byte;
        else
            text << "\\x" << std::hex << int(value) << std::dec;
    }
    return text.str();
}

/** Shows that the output has to be given, which CLI11's own line leaves away. */
class Formatter : public CLI::Formatter
{
    std::string make_usage(const CLI::App*, std::string) const override
    {
        return "Usage: pdfconvert INPUT -o OUTPUT [OPTIONS]\n";
    }
};

ParseResult UsageError(const std::string& message)
{
    return {std::nullopt, "pdfconvert: " + message + "\nTry 'pdfconvert --help'.\n",
            ExitCode::Usage};
}

/** Turns the Failure of a parser into the form that CLI11 wants from a check. */
template <typename Parse>
std::string Complaint(Parse parse)
{
    try {
        parse();
        return {};
    } catch (const Failure& failure) {
        return failure.what();
    }
}

} // namespace

ParseResult ParseCommandLine(int argc, const char* const* argv)
{
    for (int i = 1; i < argc; ++i) {
        if (!IsUtf8(argv[i]))
            return UsageError("the argument '" + Escaped(argv[i]) +
                              "' is not valid UTF-8; rename the file");
    }

    CommandLine line;
    std::string input;
    std::string output;
    CLI::App app(description, "pdfconvert");
    app.footer(footer);
    app.set_version_flag("--version", "pdfconvert " PROJECT_VERSION, "Print the version and exit");
    app.set_help_flag("-h,--help", "Print this help and exit");
    const auto formatter = std::make_shared<Formatter>();
    formatter->column_width(28);
    app.formatter(formatter);

    app.add_option("INPUT", input, "The PDF to convert")->required()->option_text(" ");
    app.add_option("-o,--output", output,
                   "Where the results go. The suffix gives the format:\n"
                   "png, jpg, jpeg, tif, tiff, bmp, webp, txt or pdf.\n"
                   "%d stands for the page number, %03d for the page\n"
                   "number in three digits, %% for a percent sign.\n"
                   "Without %d several pictures get -NN before the\n"
                   "suffix. Missing folders are made")
        ->required()
        ->type_name("OUTPUT")
        ->option_text("OUTPUT")
        ->check([](const std::string& text) {
            return Complaint([&] { OutputTemplate::Parse(QString::fromStdString(text)); });
        });
    app.add_option("-r,--resolution", line.resolution,
                   "Resolution of pictures in dots per inch, from 1 to\n4800; 150 without this")
        ->type_name("DPI")
        ->option_text("DPI")
        ->check([](const std::string& text) -> std::string {
            bool isNumber = false;
            const double value = QString::fromStdString(text).toDouble(&isNumber);
            return isNumber && value >= 1 && value <= 4800
                       ? ""
                       : "'" + text + "' is not a resolution from 1 to 4800";
        });
    app.add_option("--pages", line.pages,
                   "Only these pages, such as 1-3,7,9- (9- is from page 9\nto the last)")
        ->type_name("LIST")
        ->option_text("LIST")
        ->check(
            [](const std::string& text) { return Complaint([&] { PageRanges::Parse(text); }); });
    auto* const fromFile = app.add_option("--password-file", line.passwordFile,
                                          "Read the password from the first line of FILE, or of\n"
                                          "standard input when FILE is -")
                               ->type_name("FILE")
                               ->option_text("FILE");
    app.add_option("--password-env", line.passwordEnv,
                   "Read the password from the environment variable NAME")
        ->type_name("NAME")
        ->option_text("NAME")
        ->excludes(fromFile);
    app.add_option("--temp-dir", line.tempDir,
                   "Where the folder for temporary files is made, which\n"
                   "only you can read and which is removed at the end;\n"
                   "$TMPDIR or /tmp without this")
        ->type_name("DIR")
        ->option_text("DIR");
    app.add_flag("-q,--quiet", line.quiet, "No progress bar and no warnings, only errors");
    app.add_option("-v,--verbose", line.verbosity,
                   "Log to standard error, up to level N from 1 to 99")
        ->type_name("N")
        ->option_text("N")
        ->check([](const std::string& text) -> std::string {
            bool isNumber = false;
            const int value = QString::fromStdString(text).toInt(&isNumber);
            return isNumber && value >= 0 && value <= 99
                       ? ""
                       : "'" + text + "' is not a level from 0 to 99";
        });

    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForVersion& version) {
        return {std::nullopt, std::string(version.what()) + "\n", ExitCode::Done};
    } catch (const CLI::CallForHelp&) {
        return {std::nullopt, app.help(), ExitCode::Done};
    } catch (const CLI::ParseError& error) {
        return UsageError(error.what());
    }
    line.input = QString::fromStdString(input);
    line.output = QString::fromStdString(output);
    if (!line.pages.empty() && OutputTemplate::Parse(line.output).Format() == "pdf")
        return UsageError("--pages does not go with a PDF as output, which is converted whole");
    return {line, {}, ExitCode::Done};
}

} // namespace Korvel::App
