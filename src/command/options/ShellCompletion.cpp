#include "ShellCompletion.h"

#include "OptionList.h"

#include <map>
#include <sstream>

namespace Korvel::App {

namespace {

/** The text in one line, with what stands for some of its characters. */
std::string WithEscapes(const std::string& text, const std::map<char, std::string>& escapes)
{
    std::string escaped;
    for (const char character : text) {
        const auto found = escapes.find(character);
        if (found != escapes.end())
            escaped += found->second;
        else
            escaped += character == '\n' ? ' ' : character;
    }
    return escaped;
}

/** How zsh's _arguments takes a description, in quotes and brackets. */
std::string ForZsh(const std::string& text)
{
    return WithEscapes(text, {{'\'', "'\\''"}, {'\\', "\\\\"}, {'[', "\\["}, {']', "\\]"}});
}

/** How fish takes a description, in quotes. */
std::string ForFish(const std::string& text)
{
    return WithEscapes(text, {{'\'', "\\'"}, {'\\', "\\\\"}});
}

/** What bash's compgen offers for a value; nothing where nobody can know it. */
std::string WordsForBash(const Option& option)
{
    if (!option.choices.empty())
        return "-W '" + Joined(option.choices, " ") + "'";
    return option.kind == ValueKind::Text ? "" : option.kind == ValueKind::Folder ? "-d" : "-f";
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
              "    # bash takes --format=png for three words.\n"
              "    if [[ $current == = ]]; then\n"
              "        current=\n"
              "    elif [[ $previous == = && $COMP_CWORD -gt 2 ]]; then\n"
              "        previous=${COMP_WORDS[COMP_CWORD-2]}\n"
              "    fi\n"
              "    COMPREPLY=()\n"
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
        const std::string words = WordsForBash(option);
        script << "    " << Joined(option.names, "|") << ") ";
        if (!words.empty())
            script << "mapfile -t COMPREPLY < <(compgen " << words << " -- \"$current\"); ";
        script << "return ;;\n";
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

/** The value of an option as zsh's _arguments takes it; empty where there is none. */
std::string ZshValue(const Option& option)
{
    if (!option.TakesValue())
        return {};
    std::string value = ':' + option.value + ':';
    if (!option.choices.empty())
        return value + '(' + Joined(option.choices, " ") + ')';
    if (option.kind == ValueKind::Text)
        return value;
    return value + (option.kind == ValueKind::Folder ? "_files -/" : "_files");
}

/** The options as arguments of zsh's _arguments. */
std::string ZshArguments(const std::vector<Option>& options)
{
    std::ostringstream arguments;
    for (const Option& option : options) {
        for (const std::string& name : option.names) {
            const bool takesEquals = option.TakesValue() && name[1] == '-';
            arguments << " \\\n        '" << name << (takesEquals ? "=" : "") << '['
                      << ForZsh(option.help) << ']' << ZshValue(option) << '\'';
        }
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
        else if (option.kind == ValueKind::Folder)
            script << " -x -a '(__fish_complete_directories)'";
        else if (option.TakesValue())
            script << (option.kind == ValueKind::File ? " -r -F" : " -x");
        script << " -d '" << ForFish(option.help) << "'\n";
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
    const auto write = shell == "bash" ? Bash : shell == "zsh" ? Zsh : Fish;
    return write(OptionList(), ReportOptionList());
}

} // namespace Korvel::App
