#pragma once

#include <QString>

namespace Korvel::App {

/** A stream of the program as a terminal, with the escape sequences that make one do things. */
class Terminal
{
public:
    enum class Color { Red, Yellow };

    explicit Terminal(int descriptor);

    /** Whether the stream is a terminal. */
    bool IsOne() const { return isOne; }

    /** Whether what is written to it may have colors: https://no-color.org. */
    bool HasColors() const;

    /** How many lines it shows; a usual number where it does not tell. */
    int Rows() const;

    /** The text in a color. */
    static QString Colored(const QString& text, Color color);

    /** Lines that the terminal cuts where its own end, as a line that wraps could not be erased. */
    static QString Unwrapped(const QString& lines);

    /** What erases the line that the cursor is in. */
    static QString LineErased();

    /** What erases that many lines above the cursor; nothing for none. */
    static QString LinesErased(int lines);

private:
    const int descriptor;
    const bool isOne;
};

} // namespace Korvel::App
