#include "PseudoTerminal.h"

#include <gtest/gtest.h>

#include <csignal>
#include <vector>

#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace Korvel::App {

PseudoTerminal::PseudoTerminal(const QString& program, const QStringList& arguments,
                               const QString& folder, unsigned short columns)
{
    std::vector<QByteArray> bytes{program.toUtf8()};
    for (const QString& argument : arguments)
        bytes.push_back(argument.toUtf8());
    std::vector<char*> argv;
    for (QByteArray& argument : bytes)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    const QByteArray path = folder.toUtf8();

    const winsize size{24, columns, 0, 0};
    process = ::forkpty(&terminal, nullptr, nullptr, &size);
    if (process == 0) {
        // A shell in the background ignores the signals that a terminal sends.
        for (const int signal : {SIGINT, SIGQUIT})
            ::signal(signal, SIG_DFL);
        if (::chdir(path.constData()) == 0)
            ::execv(argv[0], argv.data());
        ::_exit(99);
    }
}

PseudoTerminal::~PseudoTerminal()
{
    if (process > 0)
        Finish();
    ::close(terminal);
}

bool PseudoTerminal::ReadMore()
{
    char buffer[4096];
    const ssize_t count = ::read(terminal, buffer, sizeof buffer);
    if (count > 0)
        screen.append(buffer, std::size_t(count));
    return count > 0;
}

bool PseudoTerminal::WaitFor(const std::string& text)
{
    std::size_t place = screen.find(text, seen);
    while (place == std::string::npos) {
        if (!ReadMore())
            return false;
        place = screen.find(text, seen);
    }
    seen = place + text.size();
    return true;
}

void PseudoTerminal::Type(const std::string& keys)
{
    EXPECT_EQ(::write(terminal, keys.data(), keys.size()), ssize_t(keys.size()));
}

bool PseudoTerminal::Echoes() const
{
    termios settings = {};
    EXPECT_EQ(::tcgetattr(terminal, &settings), 0);
    return (settings.c_lflag & ECHO) != 0;
}

int PseudoTerminal::Finish()
{
    while (ReadMore()) {
    }
    int status = 0;
    ::waitpid(process, &status, 0);
    process = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace Korvel::App
