#include "JournalReader.h"

#include "Failure.h"
#include "JournalLine.h"

#include <algorithm>
#include <array>
#include <map>

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

namespace Korvel::App {

namespace {

/** What every run writes first; whatever else begins a file, it is not a journal's. */
constexpr char beginning[] = R"({"event":"begun")";

/** Longer than what a run writes of a document with a million pages. */
constexpr qint64 longestLine = 1 << 28;

/** What a first line, torn by a loss of power, may come to in zeros. */
constexpr int mostZeros = 1 << 14;

/** How many lines are looked at to know whose a journal is. */
constexpr int mostCounted = 10000;

/** How often the seal is read that is damaged. */
constexpr int mostLooks = 3;

/** How many places of a journal are told of. */
constexpr std::size_t mostTold = 5;

Failure CannotRead(const QString& path, const char* reason, const QString& why)
{
    return {ExitCode::Input, reason,
            path.toStdString() + ": cannot read the journal: " + why.toStdString()};
}

Failure NoJournal(const QString& path)
{
    return {ExitCode::Input, "not-a-journal",
            path.toStdString() + " is no journal; name another file"};
}

Failure OfLaterVersion(const QString& path)
{
    return {ExitCode::Input, "not-a-journal",
            path.toStdString() + " was written by a later version of pdfconvert; take that one"};
}

/** Whether a torn line can have been the first of a journal. */
bool CanBegin(QByteArray torn)
{
    const bool isShort = torn.size() <= mostZeros;
    while (torn.endsWith('\0'))
        torn.chop(1);
    return torn.startsWith(beginning) || (isShort && QByteArray(beginning).startsWith(torn));
}

/** The next line with its line feed, in pieces when it is too long; what is left at the end. */
QByteArray NextLine(QFile& file)
{
    std::array<char, 1 << 14> part;
    QByteArray line;
    while (line.size() < longestLine && !line.endsWith('\n')) {
        const qint64 count = file.readLine(part.data(), qint64(part.size()));
        if (count <= 0)
            break;
        line.append(part.data(), int(count));
    }
    return line;
}

std::string Numbers(qint64 first, qint64 last)
{
    return first == last ? "line " + std::to_string(first)
                         : "lines " + std::to_string(first) + " to " + std::to_string(last);
}

} // namespace

void JournalReader::ReadOn(const Taker& take)
{
    QFile file(path);
    Open(file);
    LookAtFirst();
    if (id.isEmpty() && !isOfEarlierForm)
        id = OwnerOf(file);
    if (!file.seek(end))
        throw CannotRead(path, "unreadable", file.errorString());
    ReadLines(file, take);
    if (file.error() != QFile::NoError)
        throw CannotRead(path, "unreadable", file.errorString());
}

qint64 JournalReader::NextNumber() const
{
    // A number that is left out keeps it in mind that there may have been more lines.
    return IsSealLost() ? next + 1 : std::max(next, sealed.value_or(0) + 1);
}

bool JournalReader::IsDamaged() const
{
    return !missing.empty() || !strays.empty() || IsSealLost() || sealed.value_or(0) >= next;
}

std::string JournalReader::Damage() const
{
    std::vector<std::string> texts;
    for (const Lines& lines : missing)
        texts.push_back(Numbers(lines.first, lines.last) + " damaged or missing");
    for (const qint64 line : strays)
        texts.push_back("something before line " + std::to_string(line) + " not of it");
    if (IsSealLost())
        texts.emplace_back("\"sealed\" in line 1 damaged");
    if (sealed.value_or(0) >= next)
        texts.push_back(Numbers(next, *sealed) + " damaged or missing");
    std::string damage;
    for (std::size_t i = 0; i < std::min(texts.size(), mostTold); ++i)
        damage += (i == 0 ? "" : ", ") + texts[i];
    if (texts.size() > mostTold)
        damage += ", and more in " + std::to_string(texts.size() - mostTold) + " other places";
    return damage;
}

void JournalReader::Open(QFile& file) const
{
    const QFileInfo info(path);
    const bool isThere = info.exists();
    if (isThere && !info.isFile())
        throw CannotRead(path, "unreadable", "it is not a regular file");
    if (!file.open(QIODevice::ReadOnly))
        throw CannotRead(path, isThere ? "unreadable" : "not-found", file.errorString());
}

/** Takes the seal, which is written anew while the journal grows; or knows another version. */
void JournalReader::LookAtFirst()
{
    QByteArray first;
    // A run may just be writing the seal.
    for (int look = 0; look == 0 || (look < mostLooks && IsSealLost()); ++look) {
        QFile file(path);
        Open(file);
        first = NextLine(file);
        if (!first.endsWith('\n'))
            return;
        first.chop(1);
        sealAt = JournalSeal::PlaceIn(first);
        sealed = JournalSeal::Read(first);
    }
    if (JournalLine::Parse(first))
        return;
    const QJsonObject line = QJsonDocument::fromJson(first).object();
    if (line["event"] != QLatin1String("begun"))
        return;
    if (line["version"].toInt() > journalVersion)
        throw OfLaterVersion(path);
    isOfEarlierForm = line["version"].toInt() < journalVersion && !line.contains("sum");
}

/** The journal that most of the first lines are of, whatever stands before them. */
QString JournalReader::OwnerOf(QFile& file)
{
    std::map<QByteArray, qint64> lines;
    QByteArray text;
    file.seek(0);
    for (int line = 0; line < mostCounted && !(text = NextLine(file)).isEmpty(); ++line) {
        if (const QByteArray journal = JournalLine::JournalOf(text.chopped(1)); !journal.isEmpty())
            ++lines[journal];
    }
    const auto most =
        std::max_element(lines.begin(), lines.end(), [](const auto& one, const auto& other) {
            return one.second < other.second;
        });
    return most == lines.end() ? QString() : QString::fromUtf8(most->first);
}

void JournalReader::ReadLines(QFile& file, const Taker& take)
{
    hasStray = false;
    qint64 at = end;
    QByteArray text;
    while (!(text = NextLine(file)).isEmpty()) {
        at += text.size();
        if (!text.endsWith('\n') && text.size() < longestLine)
            break;
        text.chop(1);
        const auto line = isOfEarlierForm ? EarlierLine(text) : JournalLine::Parse(text);
        if (!line || !IsToCome(*line)) {
            hasStray = true;
            continue;
        }
        if (IsBehindTear(*line))
            return;
        TakeLine(*line, take);
        end = at;
    }
    if (end == 0 && (hasStray || !CanBegin(text)))
        throw NoJournal(path);
    isTornAtFirst = end == 0 && !text.isEmpty();
}

JournalLine JournalReader::EarlierLine(const QByteArray& text) const
{
    const QJsonDocument parsed = QJsonDocument::fromJson(text);
    if (!parsed.isObject())
        throw Failure(ExitCode::Input, "journal-damaged",
                      path.toStdString() + ": line " + std::to_string(next) + " is damaged");
    return {parsed.object(), {}, next};
}

bool JournalReader::IsToCome(const JournalLine& line) const
{
    return line.journal == id && line.number >= next;
}

/** Whether lines before it are missing that were never sure to be on the disk. */
bool JournalReader::IsBehindTear(const JournalLine& line) const
{
    return line.number > next && sealed && next > *sealed;
}

void JournalReader::TakeLine(const JournalLine& line, const Taker& take)
{
    if (line.members["version"].toInt() > journalVersion)
        throw OfLaterVersion(path);
    if (line.number > next)
        missing.push_back({next, line.number - 1});
    else if (hasStray)
        strays.push_back(next);
    hasStray = false;
    take(line.members);
    next = line.number + 1;
}

} // namespace Korvel::App
