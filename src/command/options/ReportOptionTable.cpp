#include "ReportOptionTable.h"

#include "OptionTable.h"

namespace Korvel::App {

namespace {

constexpr char description[] =
    "Adds the journals of any number of runs up: documents, pages, time, failures by\n"
    "their reasons, the slowest documents. Journals are only read, also while a run\n"
    "writes them.\n";

constexpr char footer[] = R"(
Examples:
  pdfconvert report /data/*.journal
      what has become of all documents so far
  pdfconvert report /data/*.journal --follow
      the same, printed again as the journals grow, until all is done

Exit codes:
    0  all journals are read, and no document has failed
    2  wrong usage
    4  a journal is missing or unreadable, or a file is no journal
    5  standard output does not take the report
   10  a document has failed
  130  interrupted by Ctrl+C; 128 and the signal's number for others)";

class Formatter : public CLI::Formatter
{
    std::string make_usage(const CLI::App*, std::string) const override
    {
        return "Usage: pdfconvert report JOURNAL... [--json] [--follow]\n";
    }
};

} // namespace

std::unique_ptr<CLI::App> MakeReportTable(ReportOptions& options)
{
    auto table = std::make_unique<CLI::App>(description, "pdfconvert report");
    table->footer(footer);
    const auto formatter = std::make_shared<Formatter>();
    formatter->column_width(27);
    table->formatter(formatter);
    AddNames(*table, "JOURNAL", options.journals, "The journals to add up");
    table->add_flag("--json", options.json, "Print a JSON document in place of text");
    table->add_flag("--follow", options.follows,
                    "Wait for journals that are not there yet, and print\n"
                    "again whenever they grow, until the last run of each\n"
                    "has ended with 0, 3 or 10; with --json a line of JSON\n"
                    "each time");
    table->set_help_flag("-h,--help", "Print this help and exit");
    return table;
}

} // namespace Korvel::App
