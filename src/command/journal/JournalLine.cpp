#include "JournalLine.h"

#include <algorithm>

#include <QJsonDocument>

#include <xxhash.h>

namespace Korvel::App {

namespace {

constexpr char journalKey[] = R"(,"journal":")";
constexpr char sumKey[] = R"(,"sum":")";
constexpr char sealKey[] = R"(,"sealed":")";
constexpr char end[] = R"("})";
constexpr int digits = 16;
/** A number and its sum. */
constexpr int sealLength = 2 * digits;
/** A double holds no number beyond it exactly. */
constexpr double tooManyLines = 9007199254740992.0;

QByteArray Sum(const QByteArray& bytes)
{
    const quint64 hash = XXH3_64bits(bytes.constData(), std::size_t(bytes.size()));
    return QByteArray::number(hash, 16).rightJustified(digits, '0');
}

QByteArray WithoutSeal(const QByteArray& line)
{
    const auto place = JournalSeal::PlaceIn(line);
    return place ? line.left(int(*place) - int(sizeof(sealKey) - 1)) + '}' : line;
}

/** The bytes that the sum at the end of a line is of; nothing where it is of others. */
std::optional<QByteArray> Summed(const QByteArray& line)
{
    const auto at = line.size() - int(sizeof(sumKey) - 1) - digits - 2;
    if (at <= 0)
        return std::nullopt;
    const QByteArray bytes = line.left(at);
    return line.mid(at) == sumKey + Sum(bytes) + end ? std::optional(bytes) : std::nullopt;
}

} // namespace

std::optional<JournalLine> JournalLine::Parse(const QByteArray& text)
{
    const auto bytes = Summed(WithoutSeal(text));
    if (!bytes)
        return std::nullopt;
    JournalLine line;
    line.members = QJsonDocument::fromJson(*bytes + '}').object();
    line.journal = line.members.take("journal").toString();
    const double number = line.members.take("line").toDouble();
    if (line.journal.isEmpty() || number < 1 || number >= tooManyLines)
        return std::nullopt;
    line.number = qint64(number);
    return line;
}

QByteArray JournalLine::JournalOf(const QByteArray& text)
{
    const auto bytes = Summed(WithoutSeal(text));
    const int begin = bytes ? int(bytes->lastIndexOf(journalKey)) : -1;
    if (begin < 0)
        return {};
    const int from = begin + int(sizeof(journalKey) - 1);
    return bytes->mid(from, bytes->indexOf('"', from) - from);
}

QByteArray JournalLine::ToText() const
{
    QByteArray text = QJsonDocument(members).toJson(QJsonDocument::Compact);
    text.chop(1);
    text += QByteArray(journalKey) + journal.toUtf8() + R"(","line":)" + QByteArray::number(number);
    text += sumKey + Sum(text);
    if (number == 1)
        text += QByteArray("\"") + sealKey + JournalSeal::Write(0);
    return text + end + '\n';
}

std::optional<qint64> JournalSeal::PlaceIn(const QByteArray& line)
{
    const int place = int(line.size()) - sealLength - int(sizeof(end) - 1);
    const bool isThere = line.left(std::max(place, 0)).endsWith(sealKey) && line.endsWith(end);
    return isThere ? std::optional<qint64>(place) : std::nullopt;
}

std::optional<qint64> JournalSeal::Read(const QByteArray& line)
{
    const auto place = PlaceIn(line);
    if (!place)
        return std::nullopt;
    const QByteArray seal = line.mid(int(*place), sealLength);
    const qint64 lines = seal.left(digits).toLongLong(nullptr, 16);
    return seal == Write(lines) ? std::optional(lines) : std::nullopt;
}

QByteArray JournalSeal::Write(qint64 lines)
{
    const QByteArray number = QByteArray::number(lines, 16).rightJustified(digits, '0');
    return number + Sum(number);
}

} // namespace Korvel::App
