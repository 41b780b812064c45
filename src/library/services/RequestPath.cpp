#include "RequestPath.h"

#include "PathText.h"

#include <filesystem>
#include <system_error>

namespace Korvel::PDF {

QString RequestPath(const std::string& path)
{
    if (path.empty() || HoldsNul(path))
        return {};
    if (path.front() == '/')
        return ToPathText(path);
    std::error_code failure;
    const std::string folder = std::filesystem::current_path(failure).native();
    return failure ? QString() : ToPathText(folder + '/' + path);
}

QString RequestPath(const QString& path)
{
    const std::optional<std::string> bytes = ToPathBytes(path);
    return bytes ? RequestPath(*bytes) : QString();
}

} // namespace Korvel::PDF
