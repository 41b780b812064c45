#pragma once

#include "Totals.h"

#include <array>
#include <cstdint>
#include <unordered_map>

#include <QString>

class QJsonObject;

namespace Korvel::App {

/**
 * Adds one journal up, line by line: a document is what the last line about it says.
 *
 * Holds 72 bytes of each document, on a machine of 64 bits, however long its name is, and the name
 * of one that lacks pages.
 */
class JournalTotals
{
public:
    /** Takes the next line, as `JournalReader` reads it. */
    void Take(const QJsonObject& line);

    const Totals& Total() const { return total; }

    /** Whether the last run has ended, and there is nothing left for another one to do. */
    bool IsOver() const;

private:
    struct Document
    {
        enum State : std::uint8_t { Unknown, Planned, Done, Skipped, Failed };

        State state = Unknown;
        bool repaired = false;
        bool lacksPages = false;
        /** Since the last run has told how many it was given. */
        bool hasEnded = false;
        std::int32_t files = 0;
        /** The document's pages while it is planned, those converted once it is done. */
        qint64 pages = 0;
        qint64 bytes = 0;
        /** Why it has failed; shared with `total`. */
        QString reason;
    };

    /** XXH3 of a name: two of ten million names share one less than once in 10^24. */
    using Key = std::array<std::uint64_t, 2>;

    struct Bucket
    {
        std::size_t operator()(const Key& key) const noexcept { return key[0]; }
    };

    static Key KeyOf(const QString& name);
    void TakeRun(const QString& event, const QJsonObject& line);
    void TakeDocument(Document::State state, const QJsonObject& line);
    void Forget(const QString& name);
    void TakeResults(Document& document, const QJsonObject& line);
    void TakeLackingPages(Document& document, const QJsonObject& line);
    void Count(const Document& document, int sign);

    Totals total;
    /** How many documents that were to do the last run was given that has told. */
    qint64 given = 0;
    /** How many have come to an end since. */
    qint64 ended = 0;
    /** How many are planned, and have come to nothing yet. */
    qint64 planned = 0;
    /** How the last run has ended; -1 while it has not. */
    int exitCode = -1;
    std::unordered_map<Key, Document, Bucket> documents;
};

} // namespace Korvel::App
