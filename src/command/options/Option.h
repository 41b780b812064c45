#pragma once

#include <string>
#include <vector>

namespace Korvel::App {

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
    /** The value is the path of a folder. */
    bool isFolder = false;
    /** The heading in the help that it stands under. */
    std::string group = {};

    bool TakesValue() const { return !value.empty(); }
};

/** The words with a separator between them. */
std::string Joined(const std::vector<std::string>& words, const std::string& separator);

} // namespace Korvel::App
