#include "RequestPath.h"

#include <filesystem>
#include <system_error>

namespace Korvel::PDF {

namespace {

QString ToText(const std::string& bytes)
{
    QString text = QString::fromStdString(bytes);
    return text.toStdString() == bytes ? text : QString();
}

} // namespace

QString RequestPath(const std::string& path)
{
    if (path.empty() || path.find('\0') != std::string::npos)
        return {};
    if (path.front() == '/')
        return ToText(path);
    std::error_code failure;
    const std::string folder = std::filesystem::current_path(failure).native();
    return failure ? QString() : ToText(folder + '/' + path);
}

QString RequestPath(const QString& path)
{
    const std::string bytes = path.toStdString();
    return QString::fromStdString(bytes) == path ? RequestPath(bytes) : QString();
}

} // namespace Korvel::PDF
