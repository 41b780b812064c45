#include "ShellCompletion.h"

#include "OptionList.h"

#include <algorithm>
#include <sstream>

namespace Korvel::App {

namespace {

/** The text in one line, without what means something inside quotes or brackets of a shell. */
std::string Plain(std::string text)
{
    std::replace(text.begin(), text.end(), '\n', ' ');
    for (const char special : {'\'', '[', ']', ':'})
        text.erase(std::remove(text.begin(), text.end(), special), text.end());
    return text;
}

std::string NamesOf(const std::vector<Option>& options)
{
    std::string names;
    for (const Option& option : options)
        names += Joined(option.names, " ") + " ";
    return names;
}

std::string Bash(const std::vector<Option>& options, const std::vector<Option>& ofReports)
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
    for (const Option& option : options) {
        if (!option.TakesValue())
            continue;
        std::string words = "-f";
        if (option.isFolder)
            words = "-d";
        else if (!option.choices.empty())
            words = "-W '" + Joined(option.choices, " ") + "'";
        script << "    " << Joined(option.names, "|") << ") mapfile -t COMPREPLY < <(compgen "
               << words << " -- \"$current\"); return ;;\n";
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
std::string ZshArguments(const std::vector<Option>& options)
{
    std::ostringstream arguments;
    for (const Option& option : options) {
        std::string value;
        if (option.TakesValue()) {
            value = ":value:_files";
            if (option.isFolder)
                value += " -/";
            else if (!option.choices.empty())
                value = ":value:(" + Joined(option.choices, " ") + ")";
        }
        for (const std::string& name : option.names)
            arguments << " \\\n        '" << name << '[' << Plain(option.help) << ']' << value
                      << '\'';
    }
    return arguments.str();
}

std::string Zsh(const std::vector<Option>& options, const std::vector<Option>& ofReports)
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
std::string FishOptions(const std::vector<Option>& options, const std::string& condition)
{
    std::ostringstream script;
    for (const Option& option : options) {
        script << "complete -c pdfconvert -n '" << condition << '\'';
        for (const std::string& name : option.names)
            script << (name[1] == '-' ? " -l " + name.substr(2) : " -s " + name.substr(1));
        if (!option.choices.empty())
            script << " -x -a '" << Joined(option.choices, " ") << '\'';
        else if (option.isFolder)
            script << " -x -a '(__fish_complete_directories)'";
        else if (option.TakesValue())
            script << " -r";
        script << " -d '" << Plain(option.help) << "'\n";
    }
    return script.str();
}

std::string Fish(const std::vector<Option>& options, const std::vector<Option>& ofReports)
{
    return FishOptions(options, "not __fish_seen_subcommand_from report") +
           "complete -c pdfconvert -n __fish_use_subcommand -a report -d 'Add journals up'\n" +
           FishOptions(ofReports, "__fish_seen_subcommand_from report");
}

} // namespace

std::string ShellCompletion(const std::string& shell)
{
    const std::vector<Option>& options = OptionList();
    const std::vector<Option>& ofReports = ReportOptionList();
    if (shell == "bash")
        return Bash(options, ofReports);
    return shell == "zsh" ? Zsh(options, ofReports) : Fish(options, ofReports);
}

} // namespace Korvel::App
