#include "PasswordPrompt.h"

#include "Failure.h"
#include "FileDescriptor.h"
#include "Streams.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace Korvel::App {

namespace {

/** The terminal with its echo off, which is on again when this goes. */
class SilentTerminal
{
public:
    SilentTerminal() : terminal(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY))
    {
        if (!terminal || ::tcgetattr(Descriptor(), &before) != 0)
            return;
        termios silent = before;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        changed = ::tcsetattr(Descriptor(), TCSAFLUSH, &silent) == 0;
    }

    ~SilentTerminal()
    {
        if (changed) {
            Write("\n");
            ::tcsetattr(Descriptor(), TCSAFLUSH, &before);
        }
    }

    bool IsSilent() const { return changed; }
    int Descriptor() const { return terminal.Number(); }

    void Write(const std::string& text) const
    {
        std::size_t written = 0;
        while (written < text.size()) {
            const ssize_t count =
                ::write(Descriptor(), text.data() + written, text.size() - written);
            if (count < 0 && errno != EINTR)
                return;
            written += count > 0 ? static_cast<std::size_t>(count) : 0;
        }
    }

private:
    SilentTerminal(const SilentTerminal&) = delete;
    SilentTerminal& operator=(const SilentTerminal&) = delete;

    const PDF::FileDescriptor terminal;
    termios before = {};
    bool changed = false;
};

} // namespace

std::optional<std::string> AskForPassword(const std::string& prompt,
                                          const Interruption& interruption)
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
        return std::nullopt; // a terminal that went away gives no line
    }
    throw Failure(ExitCode::Password, "password-not-given", "no password was entered");
}

bool CanAskForPassword()
{
    return PDF::FileDescriptor(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY)).Number() >= 0;
}

} // namespace Korvel::App
