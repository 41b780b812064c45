#include "ManualPage.h"

#include <algorithm>
#include <sstream>

namespace Korvel::App {

namespace {

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

void AddOption(std::ostream& page, const CLI::Option& option)
{
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames())
        names.push_back("\\fB\\-" + Literal(name) + "\\fR");
    for (const std::string& name : option.get_lnames())
        names.push_back("\\fB\\-\\-" + Literal(name) + "\\fR");
    page << ".TP\n" << CLI::detail::join(names, ", ");
    if (option.get_items_expected_max() > 0)
        page << " \\fI" << Literal(option.get_option_text()) << "\\fR";
    page << '\n' << Literal(option.get_description()) << '\n';
}

void AddOptions(std::ostream& page, const CLI::App& table, const std::string& group)
{
    const auto options = table.get_options([&group](const CLI::Option* option) {
        return option->get_group() == group && option->nonpositional();
    });
    if (group.empty() || options.empty())
        return;
    page << ".SS " << group << '\n';
    for (const CLI::Option* const option : options)
        AddOption(page, *option);
}

} // namespace

std::string ManualPage(const CLI::App& table, const CLI::App& reportTable)
{
    std::ostringstream page;
    page << ".TH PDFCONVERT 1 \"\" \"pdfconvert " PROJECT_VERSION "\" \"User Commands\"\n"
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
            "\\fIJOURNAL\\fR... [\\fB\\-\\-json\\fR] [\\fB\\-\\-follow\\fR]\n"
            ".SH DESCRIPTION\n"
         << Literal(table.get_description()) << ".SH OPTIONS\n";
    for (const std::string& group : table.get_groups())
        AddOptions(page, table, group);
    page << ".SH REPORTS\n" << Literal(reportTable.get_description());
    for (const std::string& group : reportTable.get_groups())
        AddOptions(page, reportTable, group);
    page << ".PP\n.nf\n" << Literal(reportTable.get_footer()) << "\n.fi\n";
    page << ".SH \"EXAMPLES AND EXIT CODES\"\n.nf\n" << Literal(table.get_footer()) << "\n.fi\n";
    return page.str();
}

} // namespace Korvel::App
