#include "Text.h"

#include <iomanip>
#include <sstream>

namespace Korvel::App {

namespace {

constexpr std::string_view mark = "\xef\xbb\xbf";

} // namespace

bool HasMark(std::string_view bytes)
{
    return bytes.substr(0, mark.size()) == mark;
}

std::string_view WithoutMark(std::string_view bytes)
{
    return HasMark(bytes) ? bytes.substr(mark.size()) : bytes;
}

std::string Escaped(const std::string& bytes)
{
    std::ostringstream text;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        if (value >= 0x20 && value < 0x7f)
            text << byte;
        else
            text << "\\x" << std::hex << std::setw(2) << std::setfill('0') << int(value);
    }
    return text.str();
}

QString WithoutControls(const QString& text)
{
    QString result;
    for (const QChar character : text) {
        if (character.category() == QChar::Other_Control)
            result += QStringLiteral("\\x%1").arg(character.unicode(), 2, 16, QLatin1Char('0'));
        else
            result += character;
    }
    return result;
}

} // namespace Korvel::App
