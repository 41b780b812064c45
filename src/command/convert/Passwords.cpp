#include "Passwords.h"

#include "Failure.h"
#include "Input.h"
#include "Interruption.h"
#include "PasswordOptions.h"
#include "PasswordPrompt.h"
#include "Streams.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <system_error>

#include <QDir>
#include <QFileInfo>

#include <fcntl.h>
#include <unistd.h>

namespace Korvel::App {

namespace {

/** How often the terminal is asked for the password of one document. */
constexpr int mostQuestions = 3;

/** Read when no option names a password and it is set. */
constexpr char defaultVariable[] = "PDFCONVERT_PASSWORD";

/** The text up to its first line ending. */
std::string FirstLine(const std::string& text)
{
    std::string line = text.substr(0, text.find('\n'));
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    return line;
}

/** What `read` gives; `name` is what the message calls it. */
template <typename Read>
std::string TextOf(const std::string& name, Read read)
{
    try {
        return read();
    } catch (const std::system_error& error) {
        throw Failure(ExitCode::Password, "password-not-given",
                      name + ": cannot read the password: " + error.code().message());
    }
}

/** A variable's value; it is removed, so that no child process sees it, and neither does /proc. */
std::optional<std::string> TakeVariable(const char* name)
{
    char* const value = std::getenv(name);
    if (!value)
        return std::nullopt;
    std::string password = value;
    ::explicit_bzero(value, password.size());
    ::unsetenv(name);
    return password;
}

std::string AbsolutePath(const QString& path)
{
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath()).toStdString();
}

} // namespace

Passwords::Passwords(const PasswordOptions& options, const Interruption& interruption)
    : interruption(interruption),
      mayAsk(!options.neverAsks),
      map(options.map),
      general(ReadGeneral(options)),
      byPath(ReadMap(options.map))
{
    const auto byDefault = TakeVariable(defaultVariable);
    if (!options.asksFirst) {
        general = general ? general : byDefault;
    } else if (const auto answer = AskForPassword("Password: ", interruption)) {
        typed = {*answer};
    } else {
        throw Failure(ExitCode::Password, "password-not-given",
                      "there is no terminal to ask for the password on");
    }
}

std::optional<std::string> Passwords::ReadGeneral(const PasswordOptions& options) const
{
    if (options.password)
        return *options.password;
    if (!options.file.empty()) {
        const std::string& file = options.file;
        return FirstLine(TextOf(file == "-" ? "standard input" : file,
                                [&] { return ReadAll(file, interruption); }));
    }
    if (options.descriptor >= 0) {
        const int descriptor = options.descriptor;
        ::fcntl(descriptor, F_SETFD, FD_CLOEXEC); // it is for no other program
        return FirstLine(TextOf("file descriptor " + std::to_string(descriptor),
                                [&] { return ReadAll(descriptor, interruption); }));
    }
    if (!options.variable.empty()) {
        const std::string& variable = options.variable;
        auto password = TakeVariable(variable.c_str());
        if (!password)
            throw Failure(ExitCode::Password, "password-not-given",
                          "the environment variable " + variable + " is not set");
        return password;
    }
    return std::nullopt;
}

std::map<std::string, std::string> Passwords::ReadMap(const std::string& file) const
{
    std::map<std::string, std::string> passwords;
    if (file.empty())
        return passwords;
    std::istringstream lines(TextOf(file, [&] { return ReadAll(file, interruption); }));
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        line = FirstLine(line);
        const std::size_t tab = line.find('\t');
        if (tab == std::string::npos && !line.empty())
            throw Failure(ExitCode::Password, "password-not-given",
                          file + ": line " + std::to_string(number) +
                              " is not a path, a tab and a password");
        if (tab != std::string::npos)
            passwords[AbsolutePath(QString::fromStdString(line.substr(0, tab)))] =
                line.substr(tab + 1);
    }
    return passwords;
}

bool Passwords::IsGivenFor(const Input& input) const
{
    return general || byPath.count(AbsolutePath(input.path)) > 0;
}

std::string Passwords::MapWithout(const Input& input) const
{
    return IsGivenFor(input) ? std::string() : map;
}

bool Passwords::MayBeUsed() const
{
    return general || !byPath.empty() || !typed.empty() || (mayAsk && CanAskForPassword());
}

bool Passwords::Find(const Input& input, const std::function<bool(const std::string&)>& opens)
{
    const std::vector<std::string> known = KnownFor(input);
    if (std::any_of(known.begin(), known.end(), opens))
        return true;
    for (int question = 0; question < mostQuestions; ++question) {
        const auto answer = AskFor(input, question > 0);
        if (!answer)
            return false;
        if (opens(*answer)) {
            Remember(*answer);
            return true;
        }
    }
    return false;
}

std::vector<std::string> Passwords::KnownFor(const Input& input) const
{
    std::vector<std::string> given;
    if (const auto entry = byPath.find(AbsolutePath(input.path)); entry != byPath.end())
        given.push_back(entry->second);
    if (general)
        given.push_back(*general);
    if (!given.empty())
        return given;
    return typed.empty() ? std::vector<std::string>{{}} : typed;
}

/** Answers nothing when one was given, or when nobody is to be asked or can be. */
std::optional<std::string> Passwords::AskFor(const Input& input, bool again) const
{
    if (!mayAsk || IsGivenFor(input))
        return std::nullopt;
    return AskForPassword((again ? "That password does not open it.\n" : std::string()) +
                              "Password for " + input.name.toStdString() + ": ",
                          interruption);
}

/** An answer that was right is tried for the inputs that follow. */
void Passwords::Remember(const std::string& password)
{
    if (std::find(typed.begin(), typed.end(), password) == typed.end())
        typed.insert(typed.begin(), password);
}

} // namespace Korvel::App
