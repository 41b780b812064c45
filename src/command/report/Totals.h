#pragma once

#include <map>
#include <vector>

#include <QString>

namespace Korvel::App {

/** What journals tell, added up. */
struct Totals
{
    /** Journals that have at least one line. */
    qint64 journals = 0;
    qint64 runs = 0;
    /** Runs that were killed, or are still at work. */
    qint64 runsWithoutEnd = 0;

    /** Documents that runs were given, or have planned, and that have come to nothing yet. */
    qint64 pending = 0;
    qint64 done = 0;
    /** Documents that are done with a warning, so that they want a look. */
    qint64 repaired = 0;
    qint64 skipped = 0;
    /** The documents that are done without some of their pages, and which these are. */
    std::multimap<QString, std::vector<int>> lacking;
    /** How many documents have failed, by their reasons. */
    std::map<QString, qint64> failed;

    /** What the documents that are done come to. */
    qint64 pages = 0;
    qint64 files = 0;
    qint64 bytes = 0;

    /** A run's time, from its begin to the last that is known of it, in milliseconds since 1970. */
    struct Span
    {
        qint64 begin;
        qint64 end;
    };
    std::vector<Span> spans;

    /** A document that has taken long. */
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

} // namespace Korvel::App
