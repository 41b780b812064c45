#pragma once

#include <optional>
#include <string>

#include <QJsonObject>
#include <QString>

namespace Korvel::App {

/** What tells a file from others. */
struct Checksum
{
    qint64 bytes = 0;
    /** XXH128 of the bytes, as xxh128sum prints it. */
    QString xxh128;

    bool operator==(const Checksum& other) const
    {
        return bytes == other.bytes && xxh128 == other.xxh128;
    }

    /** The checksum of the file at `path`; nothing when it cannot be read or is no regular file. */
    static std::optional<Checksum> Of(const std::string& path);
};

/** The checksum that a line of a journal tells. */
Checksum ChecksumIn(const QJsonObject& line);

} // namespace Korvel::App
