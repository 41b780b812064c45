#pragma once

#include "JournalLine.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <QString>

class QFile;

namespace Korvel::App {

/**
 * Reads a journal, whose lines docs/command.md describes, once or as it grows.
 *
 * Lines that are damaged, missing, of another journal or out of their place are left away and told
 * of. What lies behind the sealed lines and is not whole was torn when its writer was killed or the
 * machine lost its power, or is just being written: nothing was made by it, and it does not count.
 */
class JournalReader
{
public:
    using Taker = std::function<void(const QJsonObject&)>;

    explicit JournalReader(QString path) : path(std::move(path)) {}

    /**
     * Takes the lines that have come since the last call.
     *
     * @throws Failure  Input: it cannot be read, is no journal, or one of a later version
     */
    void ReadOn(const Taker& take);

    /** Where the last line that was taken ends, in bytes from the beginning. */
    qint64 End() const { return end; }

    /** What tells the journal from others; empty while there is no line. */
    const QString& Id() const { return id; }

    /** A number that no line has, nor one that is missing. */
    qint64 NextNumber() const;

    /** Where the seal stands, in bytes from the beginning; nothing where there is none. */
    const std::optional<qint64>& SealAt() const { return sealAt; }

    /** Whether it was begun before lines had checksums, so that damage does not show. */
    bool IsOfEarlierForm() const { return isOfEarlierForm; }

    /** Whether lines are damaged, missing or not in their place. */
    bool IsDamaged() const;

    /**
     * Whether there is nothing but a part of the first line: then the first run has made nothing,
     * or all its lines are lost.
     */
    bool IsTornAtFirst() const { return isTornAtFirst; }

    /** What is amiss with its lines, for the user; empty when nothing is. */
    std::string Damage() const;

private:
    /** Lines by their numbers, both included. */
    struct Lines
    {
        qint64 first;
        qint64 last;
    };

    void Open(QFile& file) const;
    void LookAtFirst();
    bool IsSealLost() const { return sealAt && !sealed; }
    static QString OwnerOf(QFile& file);
    void ReadLines(QFile& file, const Taker& take);
    JournalLine EarlierLine(const QByteArray& text) const;
    bool IsToCome(const JournalLine& line) const;
    bool IsBehindTear(const JournalLine& line) const;
    void TakeLine(const JournalLine& line, const Taker& take);

    const QString path;
    QString id;
    qint64 end = 0;
    /** Number of the line that is to come next. */
    qint64 next = 1;
    /** How many lines were on the disk when the seal was written last; nothing when it is damaged.
     */
    std::optional<qint64> sealed;
    std::optional<qint64> sealAt;
    bool isOfEarlierForm = false;
    bool isTornAtFirst = false;
    /** Behind the last line that was taken stands what is none of the journal's. */
    bool hasStray = false;
    std::vector<Lines> missing;
    /** The lines before which something stands that does not belong there. */
    std::vector<qint64> strays;
};

} // namespace Korvel::App
