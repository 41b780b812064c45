#include "InputFiles.h"

#include <optional>

#include <sys/stat.h>

namespace Korvel::App {

namespace {

std::optional<std::pair<dev_t, ino_t>> IdentityOf(const QString& path)
{
    struct stat status = {};
    if (::stat(path.toStdString().c_str(), &status) != 0)
        return std::nullopt;
    return std::pair(status.st_dev, status.st_ino);
}

} // namespace

void InputFiles::Add(const QString& path, const QString& name)
{
    if (const auto identity = IdentityOf(path))
        names.emplace(*identity, name);
}

QString InputFiles::NameOf(const QString& path) const
{
    if (names.empty())
        return {};
    const auto identity = IdentityOf(path);
    const auto found = identity ? names.find(*identity) : names.end();
    return found == names.end() ? QString() : found->second;
}

} // namespace Korvel::App
