#include "ShellCompletion.h"

#include "OptionTable.h"

#include <sstream>

namespace Korvel::App {

namespace {

/** What a shell has to know of an option. */
struct Completed
{
    /** With their dashes, the short one first. */
    std::vector<std::string> names;
    std::string longName;
    /** The help's text in one line. */
    std::string help;
    bool takesValue = false;
    std::vector<std::string> choices;

    bool TakesFolder() const { return longName == "directory" || longName == "temp-dir"; }

    std::string Joined(const std::string& separator) const
    {
        return CLI::detail::join(names, separator);
    }
};

std::string InOneLine(std::string text)
{
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

std::vector<Completed> OptionsOf(const CLI::App& table)
{
    std::vector<Completed> options;
    for (const CLI::Option* const option : table.get_options()) {
        if (option->get_positional() || option->get_group().empty())
            continue;
        Completed completed;
        for (const std::string& name : option->get_snames())
            completed.names.push_back("-" + name);
        for (const std::string& name : option->get_lnames())
            completed.names.push_back("--" + name);
        completed.longName = option->get_lnames().front();
        completed.help = InOneLine(option->get_description());
        completed.takesValue = option->get_items_expected_max() > 0;
        completed.choices = ChoicesOf(completed.longName);
        options.push_back(completed);
    }
    return options;
}

/** Without the characters that mean something inside single quotes or brackets of a shell. */
std::string Plain(std::string text)
{
    for (const char special : {'\'', '[', ']', ':'})
        text.erase(std::remove(text.begin(), text.end(), special), text.end());
    return text;
}

std::string NamesOf(const std::vector<Completed>& options)
{
    std::string names;
    for (const Completed& option : options)
        names += option.Joined(" ") + " ";
    return names;
}

std::string Bash(const std::vector<Completed>& options, const std::vector<Completed>& ofReports)
{
    std::ostringstream script;
    script << "_pdfconvert()\n{\n"
              "    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}\n"
              "    if [[ $COMP_CWORD -gt 1 && ${COMP_WORDS[1]} == report ]]; then\n"
              "        if [[ $current == -* ]]; then\n"
              "            mapfile -t COMPREPLY < <(compgen -W '"
           << NamesOf(ofReports)
           << "' -- \"$current\")\n"
              "        else\n"
              "            mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n"
              "        fi\n"
              "        return\n"
              "    fi\n"
              "    case $previous in\n";
    for (const Completed& option : options) {
        if (!option.takesValue)
            continue;
        std::string words = "-f";
        if (option.TakesFolder())
            words = "-d";
        else if (!option.choices.empty())
            words = "-W '" + CLI::detail::join(option.choices, " ") + "'";
        script << "    " << option.Joined("|") << ") mapfile -t COMPREPLY < <(compgen " << words
               << " -- \"$current\"); return ;;\n";
    }
    script << "    esac\n"
              "    if [[ $current == -* ]]; then\n"
              "        mapfile -t COMPREPLY < <(compgen -W '"
           << NamesOf(options)
           << "' -- \"$current\")\n"
              "    else\n"
              "        mapfile -t COMPREPLY < <(compgen -f -X '!*.[pP][dD][fF]' -- \"$current\"; "
              "compgen -d -- \"$current\")\n"
              "        [[ $COMP_CWORD == 1 && report == \"$current\"* ]] && COMPREPLY+=(report)\n"
              "    fi\n"
              "}\n"
              "complete -o filenames -F _pdfconvert pdfconvert\n";
    return script.str();
}

/** The options as arguments of zsh's _arguments. */
std::string ZshArguments(const std::vector<Completed>& options)
{
    std::ostringstream arguments;
    for (const Completed& option : options) {
        std::string value;
        if (option.takesValue) {
            value = ":value:_files";
            if (option.TakesFolder())
                value += " -/";
            else if (!option.choices.empty())
                value = ":value:(" + CLI::detail::join(option.choices, " ") + ")";
        }
        for (const std::string& name : option.names)
            arguments << " \\\n        '" << name << '[' << Plain(option.help) << ']' << value
                      << '\'';
    }
    return arguments.str();
}

std::string Zsh(const std::vector<Completed>& options, const std::vector<Completed>& ofReports)
{
    std::ostringstream script;
    script << "#compdef pdfconvert\n"
              "_pdfconvert() {\n"
              "    if [[ $CURRENT -gt 2 && $words[2] == report ]]; then\n"
              "        _arguments"
           << ZshArguments(ofReports)
           << " \\\n        '*:journal:_files'\n"
              "        return\n"
              "    fi\n"
              "    [[ $CURRENT == 2 ]] && compadd report\n"
              "    _arguments"
           << ZshArguments(options)
           << " \\\n        '*:PDF:_files -g \"*.(#i)pdf\"'\n"
              "}\n"
              "if [ \"${funcstack[1]}\" = _pdfconvert ]; then\n"
              "    _pdfconvert \"$@\"\n"
              "else\n"
              "    compdef _pdfconvert pdfconvert\n"
              "fi\n";
    return script.str();
}

/** The options, offered where `condition` holds. */
std::string FishOptions(const std::vector<Completed>& options, const std::string& condition)
{
    std::ostringstream script;
    for (const Completed& option : options) {
        script << "complete -c pdfconvert -n '" << condition << '\'';
        for (const std::string& name : option.names)
            script << (name[1] == '-' ? " -l " + name.substr(2) : " -s " + name.substr(1));
        if (!option.choices.empty())
            script << " -x -a '" << CLI::detail::join(option.choices, " ") << '\'';
        else if (option.TakesFolder())
            script << " -x -a '(__fish_complete_directories)'";
        else if (option.takesValue)
            script << " -r";
        script << " -d '" << Plain(option.help) << "'\n";
    }
    return script.str();
}

std::string Fish(const std::vector<Completed>& options, const std::vector<Completed>& ofReports)
{
    return FishOptions(options, "not __fish_seen_subcommand_from report") +
           "complete -c pdfconvert -n __fish_use_subcommand -a report -d 'Add journals up'\n" +
           FishOptions(ofReports, "__fish_seen_subcommand_from report");
}

} // namespace

std::string ShellCompletion(const CLI::App& table, const CLI::App& reportTable,
                            const std::string& shell)
{
    const std::vector<Completed> options = OptionsOf(table);
    const std::vector<Completed> ofReports = OptionsOf(reportTable);
    if (shell == "bash")
        return Bash(options, ofReports);
    return shell == "zsh" ? Zsh(options, ofReports) : Fish(options, ofReports);
}

} // namespace Korvel::App
