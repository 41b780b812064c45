#include "Password.h"

#include "CommandLine.h"
#include "Interruption.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace Korvel::App {

namespace {

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

std::string FirstLine(std::istream& stream, const std::string& name)
{
    std::string line;
    if (!std::getline(stream, line) && (stream.bad() || !stream.eof()))
        throw Failure(ExitCode::Password, name + ": cannot read the password");
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    return line;
}

std::string PasswordFromFile(const std::string& name)
{
    if (name == "-")
        return FirstLine(std::cin, "standard input");
    std::ifstream file(name, std::ios::binary);
    if (!file)
        throw Failure(ExitCode::Password,
                      name + ": cannot read the password file: " + std::strerror(errno));
    return FirstLine(file, name);
}

std::string PasswordFromEnvironment(const std::string& name)
{
    const char* const value = std::getenv(name.c_str());
    if (!value)
        throw Failure(ExitCode::Password, "the environment variable " + name + " is not set");
    std::string password = value;
    ::unsetenv(name.c_str());
    return password;
}

} // namespace

std::optional<std::string> GivenPassword(const CommandLine& commandLine)
{
    if (!commandLine.passwordFile.empty())
        return PasswordFromFile(commandLine.passwordFile);
    if (!commandLine.passwordEnv.empty())
        return PasswordFromEnvironment(commandLine.passwordEnv);
    return std::nullopt;
}

std::optional<std::string> AskForPassword(const std::string& prompt,
                                          const Interruption& interruption)
{
    const SilentTerminal terminal;
    if (!terminal.IsSilent())
        return std::nullopt;
    terminal.Write(prompt);
    std::string line;
    while (true) {
        pollfd waits[] = {{terminal.Descriptor(), POLLIN, 0},
                          {interruption.Descriptor(), POLLIN, 0}};
        if (::poll(waits, 2, -1) < 0 && errno != EINTR)
            return std::nullopt;
        interruption.Check();
        if (waits[0].revents == 0)
            continue;
        char byte = 0;
        if (::read(terminal.Descriptor(), &byte, 1) != 1)
            return std::nullopt;
        if (byte == '\n')
            return line;
        line += byte;
    }
}

} // namespace Korvel::App
