#include "Passwords.h"

#include "Failure.h"
#include "Inputs.h"
#include "Interruption.h"
#include "PasswordOptions.h"
#include "Streams.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <system_error>

#include <QDir>
#include <QFileInfo>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace Korvel::App {

namespace {

/** Read when no option names a password and it is set. */
constexpr char defaultVariable[] = "PDFCONVERT_PASSWORD";

/** The terminal with echo off; on again when it goes. */
class SilentTerminal
{
public:
    SilentTerminal() : terminal(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY))
    {
        if (terminal < 0 || ::tcgetattr(terminal, &before) != 0)
            return;
        termios silent = before;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        changed = ::tcsetattr(terminal, TCSAFLUSH, &silent) == 0;
    }

    ~SilentTerminal()
    {
        if (changed) {
            Write("\n");
            ::tcsetattr(terminal, TCSAFLUSH, &before);
        }
        if (terminal >= 0)
            ::close(terminal);
    }

    bool IsSilent() const { return changed; }
    int Descriptor() const { return terminal; }

    void Write(const std::string& text) const
    {
        std::size_t written = 0;
        while (written < text.size()) {
            const ssize_t count = ::write(terminal, text.data() + written, text.size() - written);
            if (count < 0 && errno != EINTR)
                return;
            written += count > 0 ? static_cast<std::size_t>(count) : 0;
        }
    }

private:
    SilentTerminal(const SilentTerminal&) = delete;
    SilentTerminal& operator=(const SilentTerminal&) = delete;

    const int terminal;
    termios before = {};
    bool changed = false;
};

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
      general(ReadGeneral(options)),
      byPath(ReadMap(options.map))
{
    const auto byDefault = TakeVariable(defaultVariable);
    if (!options.asksFirst) {
        general = general ? general : byDefault;
    } else if (const auto answer = Ask("Password: ")) {
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

std::optional<std::string> Passwords::AskFor(const Input& input, bool again)
{
    if (!mayAsk || IsGivenFor(input))
        return std::nullopt;
    return Ask((again ? "That password does not open it.\n" : std::string()) + "Password for " +
               input.name.toStdString() + ": ");
}

void Passwords::Remember(const std::string& password)
{
    if (std::find(typed.begin(), typed.end(), password) == typed.end())
        typed.insert(typed.begin(), password);
}

std::optional<std::string> Passwords::Ask(const std::string& prompt) const
{
    const SilentTerminal terminal;
    if (!terminal.IsSilent())
        return std::nullopt;
    terminal.Write(prompt);
    std::string line;
    char byte = 0;
    try {
        while (ReadSome(terminal.Descriptor(), &byte, 1, interruption) == 1) {
            if (byte == '\n')
                return line;
            line += byte;
        }
    } catch (const std::system_error&) {
        // a terminal that went away gives no line either
    }
    return std::nullopt;
}

} // namespace Korvel::App
