#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <unordered_map>
#include <vector>

#include <QString>

class QJsonObject;

namespace Korvel::App {

/** What journals tell, added up. */
struct Totals
{
    /** With at least one line. */
    qint64 journals = 0;
    qint64 runs = 0;
    /** Of these: killed, or still at work. */
    qint64 runsWithoutEnd = 0;

    /** Documents that are planned, and have come to nothing yet. */
    qint64 pending = 0;
    qint64 done = 0;
    /** Of these: with a warning, so that they want a look. */
    qint64 repaired = 0;
    qint64 skipped = 0;
    /** By reason. */
    std::map<QString, qint64> failed;

    /** Of the documents that are done. */
    qint64 pages = 0;
    qint64 files = 0;
    qint64 bytes = 0;

    /** From a run's begin to the last that is known of it, in milliseconds since 1970. */
    struct Span
    {
        qint64 begin;
        qint64 end;
    };
    std::vector<Span> spans;

    struct Slow
    {
        QString file;
        double seconds;
        qint64 pages;
    };
    /** The slowest documents that are done, a handful, the slowest first. */
    std::vector<Slow> slowest;

    qint64 Failed() const;
    qint64 Documents() const { return pending + done + skipped + Failed(); }

    /** Time in which at least one run was at work. */
    double SecondsAtWork() const;

    /** Takes a document among the slowest if it is one of them. */
    void AddSlow(const Slow& document);

    Totals& operator+=(const Totals& other);
};

/**
 * Adds one journal up, line by line: a document is what the last line about it says.
 *
 * Holds 72 bytes of each document, on a machine of 64 bits, however long its name is.
 */
class JournalTotals
{
public:
    /** Takes the next line, as `ReadJournal` reads it. */
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
        std::int32_t files = 0;
        /** Of the document while it is planned, converted once it is done. */
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
    void Count(const Document& document, int sign);

    Totals total;
    /** Of the last run; none while it has not ended. */
    int exitCode = -1;
    std::unordered_map<Key, Document, Bucket> documents;
};

} // namespace Korvel::App
