#include "HelpPages.h"

#include "OptionList.h"

#include <algorithm>

namespace Korvel::App {

namespace {

/** The column of the help in which the options' texts begin. */
constexpr std::size_t textColumn = 27;

constexpr char description[] =
    "Converts PDFs, encrypted or not, to pictures of their pages, to text, or to PDFs\n"
    "without encryption, of all pages or of some. An existing file is not\n"
    "overwritten: where page.png is taken, the result is page(2).png.\n";

constexpr char usage[] = "Usage: pdfconvert INPUT... -o OUTPUT [OPTIONS]\n"
                         "       pdfconvert INPUT... -d FOLDER [-f FORMAT] [OPTIONS]\n"
                         "       pdfconvert report JOURNAL... [--json] [--follow | --verify]\n";

constexpr char footer[] = R"(Examples:
  pdfconvert report.pdf -o pages/page-%d.png
      every page as a picture: pages/page-1.png, pages/page-2.png, ...
  pdfconvert report.pdf -o page.jpg -r 300 --pages 1-3,7
      four pages at 300 dots per inch: page-1.jpg, ..., page-7.jpg
  pdfconvert secret.pdf --password-file pw -o secret.txt
      the text of an encrypted document; the file pw holds the password
  pdfconvert secret.pdf -o open.pdf
      a copy without encryption; the password is asked for on the terminal
  pdfconvert report.pdf -o chapter.pdf --pages 9-24
      a PDF of these pages; with -o page-%d.pdf one for each
  pdfconvert *.pdf -d pages
      every page of many documents: pages/report-1.png, ...
  pdfconvert archive --recursive -d pages
      all PDFs below a folder: pages/2019/may-1.png, ...
  find . -name '*.pdf' -print0 | pdfconvert --from-list - -0 -d texts -f txt
      the texts of all PDFs below this folder
  pdfconvert --from-list all.txt --journal all.journal -d pages
      the same command again goes on after a crash
  pdfconvert report.pdf --inspect
      pages and their sizes, encryption, fonts, form fields, signatures, ...
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
    3  done, with a warning that the result wants a look, or lacks a page
    4  the input is missing, unreadable or not a PDF
    5  the output cannot be written, or the journal is another run's
    6  the output exists, under --on-exists fail
    7  the conversion failed; with --strict, that of a page
    8  a password is missing or wrong
   10  several inputs, and some of them were not converted; with --journal
       also when none of them was, or some were not by an earlier run
  124  a document took longer than it was given
  130  interrupted by Ctrl+C; 128 and the signal's number for others
)";

constexpr char reportDescription[] =
    "Adds the journals of any number of runs up: documents, pages, time, failures by\n"
    "their reasons, documents that lack pages, the slowest documents. Journals are\n"
    "only read, also while a run writes them.\n";

constexpr char reportUsage[] =
    "Usage: pdfconvert report JOURNAL... [--json] [--follow | --verify]\n";

constexpr char reportFooter[] = R"(Examples:
  pdfconvert report /data/*.journal
      what has become of all documents so far
  pdfconvert report /data/*.journal --follow
      the same, printed again as the journals grow, until all is done
  pdfconvert report all.journal --verify
      whether the results are still there, byte by byte

Exit codes:
    0  all journals are read, and no document has failed
    2  wrong usage
    4  a journal is missing, unreadable or damaged, or a file is no journal
    5  standard output does not take the report
    9  files are not what the journals tell, with --verify
   10  a document has failed
  130  interrupted by Ctrl+C; 128 and the signal's number for others
)";

/** A name, and beside it the lines that tell what it is. */
std::string HelpRow(const std::string& name, const std::string& lines)
{
    std::string row = "  " + name;
    row.resize(std::max(textColumn, row.size() + 1), ' ');
    for (const char character : lines) {
        row += character;
        if (character == '\n')
            row.append(textColumn, ' ');
    }
    return row + '\n';
}

std::string HelpRows(const std::vector<Option>& options)
{
    std::string rows;
    std::string group;
    for (const Option& option : options) {
        if (option.group != group)
            rows += '\n' + option.group + ":\n";
        group = option.group;
        const std::string value = option.TakesValue() ? ' ' + option.value : "";
        rows += HelpRow(Joined(option.names, ",") + value, option.help);
    }
    return rows;
}

/** A text whose backslashes, dashes and leading dots mean nothing to roff. */
std::string Literal(const std::string& text)
{
    std::string literal;
    bool isLineStart = true;
    for (const char character : text) {
        if (isLineStart && (character == '.' || character == '\''))
            literal += "\\&";
        if (character == '\\')
            literal += "\\e";
        else if (character == '-')
            literal += "\\-";
        else
            literal += character;
        isLineStart = character == '\n';
    }
    return literal;
}

std::string ManualRow(const Option& option)
{
    std::vector<std::string> names;
    for (const std::string& name : option.names)
        names.push_back("\\fB" + Literal(name) + "\\fR");
    std::string row = ".TP\n" + Joined(names, ", ");
    if (option.TakesValue())
        row += " \\fI" + Literal(option.value) + "\\fR";
    return row + '\n' + Literal(option.help) + '\n';
}

std::string ManualRows(const std::vector<Option>& options)
{
    std::string rows;
    std::string group;
    for (const Option& option : options) {
        if (option.group != group)
            rows += ".SS " + option.group + '\n';
        group = option.group;
        rows += ManualRow(option);
    }
    return rows;
}

/** Lines that stay as they are. */
std::string ManualLines(const std::string& lines)
{
    return ".nf\n\n" + Literal(lines) + ".fi\n";
}

} // namespace

std::string HelpPage()
{
    return std::string(description) + '\n' + usage + "\nPositionals:\n" +
           HelpRow("INPUT", "The PDFs to convert, or with --recursive folders of\n"
                            "them; - for standard input") +
           HelpRows(OptionList()) + '\n' + footer;
}

std::string ReportHelpPage()
{
    return std::string(reportDescription) + '\n' + reportUsage + "\nPositionals:\n" +
           HelpRow("JOURNAL", "The journals to add up") + HelpRows(ReportOptionList()) + '\n' +
           reportFooter;
}

std::string ManualPage()
{
    return ".TH PDFCONVERT 1 \"\" \"pdfconvert " PROJECT_VERSION "\" \"User Commands\"\n"
           ".SH NAME\n"
           "pdfconvert \\- convert PDFs, encrypted or not, to pictures, text or PDF\n"
           ".SH SYNOPSIS\n"
           ".B pdfconvert\n"
           "\\fIINPUT\\fR... \\fB\\-o\\fR \\fIOUTPUT\\fR [\\fIOPTIONS\\fR]\n"
           ".br\n"
           ".B pdfconvert\n"
           "\\fIINPUT\\fR... \\fB\\-d\\fR \\fIFOLDER\\fR [\\fB\\-f\\fR \\fIFORMAT\\fR] "
           "[\\fIOPTIONS\\fR]\n"
           ".br\n"
           ".B pdfconvert report\n"
           "\\fIJOURNAL\\fR... [\\fB\\-\\-json\\fR] "
           "[\\fB\\-\\-follow\\fR | \\fB\\-\\-verify\\fR]\n"
           ".SH DESCRIPTION\n" +
           Literal(description) + ".SH OPTIONS\n" + ManualRows(OptionList()) + ".SH REPORTS\n" +
           Literal(reportDescription) + ManualRows(ReportOptionList()) + ".PP\n" +
           ManualLines(reportFooter) + ".SH \"EXAMPLES AND EXIT CODES\"\n" + ManualLines(footer);
}

} // namespace Korvel::App
