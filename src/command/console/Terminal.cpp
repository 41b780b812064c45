#include "Terminal.h"

#include <cstdlib>

#include <sys/ioctl.h>
#include <unistd.h>

namespace Korvel::App {

namespace {

constexpr int usualRows = 24;

} // namespace

Terminal::Terminal(int descriptor) : descriptor(descriptor), isOne(::isatty(descriptor) == 1) {}

bool Terminal::HasColors() const
{
    const char* const refusal = std::getenv("NO_COLOR");
    return isOne && (!refusal || *refusal == '\0');
}

int Terminal::Rows() const
{
    winsize size = {};
    const bool isKnown = ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_row > 0;
    return isKnown ? size.ws_row : usualRows;
}

QString Terminal::Colored(const QString& text, Color color)
{
    const QLatin1String begin(color == Color::Red ? "\033[31m" : "\033[33m");
    return begin + text + QLatin1String("\033[m");
}

QString Terminal::Unwrapped(const QString& lines)
{
    return QLatin1String("\033[?7l") + lines + QLatin1String("\033[?7h");
}

QString Terminal::LineErased()
{
    return QStringLiteral("\r\033[K");
}

QString Terminal::LinesErased(int lines)
{
    return lines > 0 ? QStringLiteral("\033[%1A\033[J").arg(lines) : QString();
}

} // namespace Korvel::App
