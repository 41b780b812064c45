#pragma once

#include <optional>
#include <string>

namespace Korvel::App {

/** Where the passwords of encrypted documents come from. */
struct PasswordOptions
{
    /** The password itself. */
    std::optional<std::string> password;
    /** File with the password, "-" for standard input; empty for none. */
    std::string file;
    /** File descriptor to read the password from; -1 for none. */
    int descriptor = -1;
    /** Environment variable with the password; empty for none. */
    std::string variable;
    /** File with a path, a tab and its password a line, "-" for standard input; empty for none. */
    std::string map;
    /** Ask for a password before anything is opened. */
    bool asksFirst = false;
    /** Never ask for a password. */
    bool neverAsks = false;
};

} // namespace Korvel::App
