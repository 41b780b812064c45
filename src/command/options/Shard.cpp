#include "Shard.h"

#include <QString>
#include <QStringList>

#include <xxhash.h>

namespace Korvel::App {

namespace {

/** The whole number from 1 that the text is; 0 for another text. */
std::uint64_t Number(const QString& text)
{
    bool isNumber = false;
    const std::uint64_t number = text.toUInt(&isNumber);
    return isNumber ? number : 0;
}

} // namespace

std::optional<Shard> Shard::Parse(const std::string& text)
{
    const QStringList parts = QString::fromStdString(text).split('/');
    if (parts.size() != 2)
        return std::nullopt;
    const Shard shard(Number(parts[0]), Number(parts[1]));
    if (shard.number == 0 || shard.number > shard.count)
        return std::nullopt;
    return shard;
}

bool Shard::Has(std::string_view path) const
{
    return XXH3_64bits(path.data(), path.size()) % count == number - 1;
}

} // namespace Korvel::App
