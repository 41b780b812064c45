#include "PathText.h"

namespace Korvel {

bool IsUtf8(const std::string& bytes)
{
    const std::string marked = "\xef\xbb\xbf" + bytes; // of two marks QString keeps one
    return QString::fromStdString(marked).toStdString() == bytes;
}

QString ToPathText(const std::string& bytes)
{
    const QString text = QString::fromStdString(bytes);
    return text.toStdString() == bytes ? text : QString();
}

std::optional<std::string> ToPathBytes(const QString& text)
{
    const std::string bytes = text.toStdString();
    return QString::fromStdString(bytes) == text ? std::optional(bytes) : std::nullopt;
}

QString SuffixOf(const QString& path)
{
    const auto dot = path.lastIndexOf(QLatin1Char('.'));
    return dot > path.lastIndexOf(QLatin1Char('/')) ? path.mid(dot) : QString();
}

bool HoldsNul(const std::string& path)
{
    return path.find('\0') != std::string::npos;
}

} // namespace Korvel
