#include "Verification.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>

#include <sys/stat.h>

namespace Korvel::App {

namespace {

using Finding = Verified::Finding;

Finding Unreadable(const QString& path, const QString& why)
{
    return {path, "unreadable", "cannot be read: " + why};
}

/** What is amiss with the file at `path`; nothing when it is what was written down. */
std::optional<Finding> Look(const QString& path, const Checksum& expected)
{
    struct stat status = {};
    if (::stat(path.toStdString().c_str(), &status) != 0) {
        if (errno == ENOENT || errno == ENOTDIR)
            return Finding{path, "missing", "is missing"};
        return Unreadable(path, std::strerror(errno));
    }
    if (!S_ISREG(status.st_mode))
        return Finding{path, "changed", "is no regular file any more"};
    if (status.st_size != expected.bytes)
        return Finding{
            path, "changed",
            QString("has %1 bytes instead of %2").arg(qint64(status.st_size)).arg(expected.bytes)};
    if (expected.xxh128.isEmpty())
        return std::nullopt;
    // Whoever has moved results away may have left links to them.
    const auto sum = Checksum::Of(QFileInfo(path).canonicalFilePath().toStdString());
    if (!sum)
        return Unreadable(path, std::strerror(errno));
    if (!(*sum == expected))
        return Finding{path, "changed", "has other bytes than were written"};
    return std::nullopt;
}

qint64 Count(const std::vector<Finding>& findings, const char* reason)
{
    return std::count_if(findings.begin(), findings.end(), [reason](const Finding& finding) {
        return std::strcmp(finding.reason, reason) == 0;
    });
}

} // namespace

Verified& Verified::operator+=(const Verified& other)
{
    files += other.files;
    findings.insert(findings.end(), other.findings.begin(), other.findings.end());
    return *this;
}

QJsonObject ToJson(const Verified& verified)
{
    QJsonArray findings;
    for (const Finding& finding : verified.findings)
        findings.append(QJsonObject{{"path", finding.path},
                                    {"reason", finding.reason},
                                    {"message", finding.path + ": " + finding.message}});
    const auto count = [&verified](const char* reason) {
        return Count(verified.findings, reason);
    };
    return {{"files", verified.files},
            {"intact", verified.files - qint64(verified.findings.size())},
            {"missing", count("missing")},
            {"changed", count("changed")},
            {"unreadable", count("unreadable")},
            {"findings", findings}};
}

void Verification::Take(const QJsonObject& line)
{
    const QString event = line["event"].toString();
    const Checksum sum = ChecksumIn(line);
    const auto file = files.find(line["path"].toString());
    if (event == QLatin1String("begun"))
        folder = line["settings"].toObject()["folder"].toString();
    else if (event == QLatin1String("placing"))
        TakePlacing(line["path"].toString(), sum);
    else if (event == QLatin1String("refused") && file != files.end() && file->second == sum)
        TakeRefused(file);
    else if (event == QLatin1String("done"))
        TakeDone(line);
}

void Verification::TakePlacing(const QString& path, const Checksum& sum)
{
    if (const auto file = files.find(path); file != files.end())
        before[path] = file->second;
    files[path] = sum;
}

/** What lay there before was not replaced. */
void Verification::TakeRefused(Files::iterator file)
{
    if (const auto earlier = before.find(file->first); earlier != before.end())
        file->second = earlier->second;
    else if (done.count(file->first) == 0)
        files.erase(file);
}

void Verification::TakeDone(const QJsonObject& line)
{
    const QJsonArray results = line["results"].toArray();
    for (const QJsonValue& value : results) {
        const QString path = value.toObject()["path"].toString();
        files.try_emplace(path, ChecksumIn(value.toObject()));
        done.insert(path);
    }
}

Verified Verification::Verify(const std::function<void()>& pause) const
{
    Verified verified;
    for (const QString& path : done) {
        pause();
        ++verified.files;
        const QString there = QDir(folder).filePath(path);
        if (const auto finding = Look(there, files.at(path)))
            verified.findings.push_back({path, finding->reason, finding->message});
    }
    return verified;
}

} // namespace Korvel::App
