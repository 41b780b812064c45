#include "RawArguments.h"

#include "PathText.h"
#include "Text.h"

#include <cstring>
#include <string_view>

namespace Korvel::App {

namespace {

/** The value of --password in an argument; null when it holds none. */
const char* PasswordIn(const char* const* argv, int i)
{
    constexpr std::string_view option = "--password";
    if (argv[i - 1] == option)
        return argv[i];
    const bool isBoth = std::string_view(argv[i]).substr(0, option.size() + 1) == "--password=";
    return isBoth ? argv[i] + option.size() + 1 : nullptr;
}

} // namespace

std::string ProblemOfArguments(int argc, const char* const* argv)
{
    for (int i = 1; i < argc; ++i) {
        if (!IsUtf8(argv[i]) && PasswordIn(argv, i))
            return "the password is not valid UTF-8; give it with --password-file";
        if (!IsUtf8(argv[i]))
            return "the argument '" + Escaped(argv[i]) + "' is not valid UTF-8; rename the file";
        if (HasMark(argv[i]))
            return "an argument begins with a byte order mark; put ./ in front of it where it is "
                   "a file";
    }
    return {};
}

void HidePassword(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i) {
        if (const char* const password = PasswordIn(argv, i))
            std::memset(argv[i] + (password - argv[i]), '*', std::strlen(password));
    }
}

} // namespace Korvel::App
