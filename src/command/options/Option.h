#pragma once

#include <string>
#include <vector>

namespace Korvel::App {

/** What the value of an option is, where it has one and its words are not listed. */
enum class ValueKind { Text, File, Folder };

/** An option of the command line, as the help, the manual page and completions show it. */
struct Option
{
    /** The short name, if there is one, and the long one, both with their dashes. */
    std::vector<std::string> names;
    /** What the help calls its value; empty for an option without a value. */
    std::string value;
    /** What it is for, in lines that fit beside the names in the help. */
    std::string help;
    /** The words that it takes; empty where the value is another text. */
    std::vector<std::string> choices = {};
    ValueKind kind = ValueKind::Text;
    /** The heading in the help that it stands under. */
    std::string group = {};

    bool TakesValue() const { return !value.empty(); }
};

/** The words with a separator between them. */
std::string Joined(const std::vector<std::string>& words, const std::string& separator);

} // namespace Korvel::App
