#pragma once

#include <string>

#include <QStringList>

#include <sys/types.h>

namespace Korvel::App {

/** A program with a terminal of its own, and somebody who sits at it. */
class PseudoTerminal
{
public:
    PseudoTerminal(const QString& program, const QStringList& arguments, const QString& folder,
                   unsigned short columns = 80);
    ~PseudoTerminal();

    /** Reads the screen until `text` has appeared on it; false when the program ended before. */
    bool WaitFor(const std::string& text);

    /** Presses keys; "\n" is the return key and "\x03" Ctrl+C. */
    void Type(const std::string& keys);

    /** Whether the terminal shows what is typed. */
    bool Echoes() const;

    /** Waits for the program's end; its exit code, or -1 when a signal ended it. */
    int Finish();

    /** All that has appeared on the screen. */
    const std::string& Screen() const { return screen; }

private:
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    bool ReadMore();

    int terminal = -1;
    pid_t process = -1;
    std::string screen;
    std::size_t seen = 0;
};

} // namespace Korvel::App
