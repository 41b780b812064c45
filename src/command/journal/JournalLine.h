#pragma once

#include <optional>

#include <QByteArray>
#include <QJsonObject>
#include <QString>

namespace Korvel::App {

/** The version of the lines that are written; raised when a member changes its meaning or goes. */
constexpr int journalVersion = 2;

/**
 * A line of a journal: what it tells, and by what one sees that it is whole and in its place.
 *
 * Its text is JSON in which the last three members are "journal", "line" and "sum": XXH3 of all
 * bytes before that member, in 16 hexadecimal digits. The first line of a file has one more behind
 * these, "sealed", which is written anew in place and says how many lines were on the disk by then.
 */
struct JournalLine
{
    /** What it tells; without the members that every line has. */
    QJsonObject members;
    /** What tells the journal from others. */
    QString journal;
    /** Of the lines of its journal, from 1. */
    qint64 number = 0;

    /** The line of a text without line feed; nothing when that is not what was written. */
    static std::optional<JournalLine> Parse(const QByteArray& text);

    /** What tells its journal from others, read without all the rest; empty for no whole line. */
    static QByteArray JournalOf(const QByteArray& text);

    /** The line with a line feed; the first one with its seal, which is 0. */
    QByteArray ToText() const;
};

/** The seal at the end of the first line of a journal: how many lines were on the disk by then. */
struct JournalSeal
{
    /** Where it stands in the first line of a file, without line feed; nothing where there is none.
     */
    static std::optional<qint64> PlaceIn(const QByteArray& line);

    /** What it says there; nothing where it is damaged. */
    static std::optional<qint64> Read(const QByteArray& line);

    static QByteArray Write(qint64 lines);
};

} // namespace Korvel::App
