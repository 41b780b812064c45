#include "Checksum.h"

#include <memory>
#include <vector>

#include <QFile>

#include <sys/stat.h>
#include <xxhash.h>

namespace Korvel::App {

std::optional<Checksum> Checksum::Of(const std::string& path)
{
    struct stat status = {};
    if (::lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    QFile file(QString::fromStdString(path));
    const std::unique_ptr<XXH3_state_t, decltype(&XXH3_freeState)> state(XXH3_createState(),
                                                                         XXH3_freeState);
    if (!state || XXH3_128bits_reset(state.get()) != XXH_OK || !file.open(QIODevice::ReadOnly))
        return std::nullopt;
    Checksum sum;
    std::vector<char> block(1 << 16);
    qint64 count = 0;
    while ((count = file.read(block.data(), qint64(block.size()))) > 0) {
        XXH3_128bits_update(state.get(), block.data(), std::size_t(count));
        sum.bytes += count;
    }
    if (count < 0)
        return std::nullopt;
    XXH128_canonical_t canonical;
    XXH128_canonicalFromHash(&canonical, XXH3_128bits_digest(state.get()));
    const auto* const digest = reinterpret_cast<const char*>(canonical.digest);
    sum.xxh128 = QString::fromLatin1(QByteArray(digest, sizeof(canonical.digest)).toHex());
    return sum;
}

Checksum ChecksumIn(const QJsonObject& line)
{
    return {qint64(line["bytes"].toDouble()), line["xxh128"].toString()};
}

} // namespace Korvel::App
