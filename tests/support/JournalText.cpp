#include "JournalText.h"

#include <xxhash.h>

namespace Korvel::App {

namespace {

QByteArray Sum(const QByteArray& bytes)
{
    const auto hash = XXH3_64bits(bytes.constData(), std::size_t(bytes.size()));
    return QByteArray::number(quint64(hash), 16).rightJustified(16, '0');
}

QByteArray WithSum(const QByteArray& line)
{
    const QByteArray bytes = line.left(line.lastIndexOf(R"(,"sum":")"));
    return bytes + R"(,"sum":")" + Sum(bytes) + "\"";
}

} // namespace

QList<QByteArray> LinesOf(const QByteArray& journal)
{
    QList<QByteArray> lines = journal.split('\n');
    if (lines.last().isEmpty())
        lines.removeLast();
    return lines;
}

QByteArray Joined(const QList<QByteArray>& lines)
{
    QByteArray journal;
    for (const QByteArray& line : lines)
        journal += line + '\n';
    return journal;
}

QByteArray Sealed(const QByteArray& journal)
{
    QList<QByteArray> lines = LinesOf(journal);
    const QByteArray count = QByteArray::number(lines.size(), 16).rightJustified(16, '0');
    for (QByteArray& line : lines)
        line = WithSum(line) + '}';
    lines.first().chop(1);
    lines.first() += R"(,"sealed":")" + count + Sum(count) + "\"}";
    return Joined(lines);
}

} // namespace Korvel::App
