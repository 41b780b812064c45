#include "JournalState.h"

#include "SessionName.h"

#include <algorithm>

#include <QFileInfo>
#include <QJsonArray>

namespace Korvel::App {

void JournalState::Read(const QJsonObject& line)
{
    const QString event = line["event"].toString();
    const QString name = line["file"].toString();
    if (event == QLatin1String("begun"))
        ReadBegun(line);
    else if (event == QLatin1String("ended"))
        abandoned.clear();
    else if (event == QLatin1String("planned"))
        ReadPlanned(name, line);
    else if (event == QLatin1String("placing"))
        placed.insert(line["path"].toString(), ChecksumIn(line));
    else if (event == QLatin1String("refused"))
        placed.remove(line["path"].toString(), ChecksumIn(line));
    else if (event == QLatin1String("failed"))
        SetFailed(name, line["reason"].toString());
    else if (event == QLatin1String("done") || event == QLatin1String("skipped"))
        ReadDone(name, line);
}

void JournalState::ReadBegun(const QJsonObject& line)
{
    abandoned = line["session"].toString();
    if (!IsSessionName(abandoned.toStdString()))
        abandoned.clear();
    hasLostBeginning = hasLostBeginning || line["torn"].toBool();
    // Nothing was made with those before, or their line is lost.
    if (planned.empty() || settings.isEmpty())
        settings = line["settings"].toObject();
}

void JournalState::ReadPlanned(const QString& name, const QJsonObject& line)
{
    Document& document = documents[name];
    Plan plan = line["anew"].toBool() ? document.plan : Plan();
    plan.pages = line["pages"].toInt();
    if (line.contains("engine"))
        engine = line["engine"].toString();
    const QJsonArray results = line["results"].toArray();
    for (const QJsonValue& value : results) {
        const QJsonObject result = value.toObject();
        const QString to = result["path"].toString();
        plan.paths[result["page"].toInt()] = to;
        planned[to] = name;
    }
    document.standing = Standing::ToDo;
    document.lacksPages = false;
    document.plan = plan;
}

void JournalState::ReadDone(const QString& name, const QJsonObject& line)
{
    Document& document = documents[name];
    const QJsonArray results = line["results"].toArray();
    for (const QJsonValue& result : results) // the line of their plan may be lost
        planned[result.toObject()["path"].toString()] = name;
    document.standing = Standing::Done;
    document.lacksPages = !line["failedPages"].toArray().isEmpty();
    hasRepaired = hasRepaired || line["repaired"].toBool();
    if (document.lacksPages) {
        document.plan.isConverted = true;
        return; // it stays, should the document be retried
    }
    for (const auto& [page, to] : document.plan.paths)
        placed.remove(to);
    document.plan = {};
}

std::set<QString> JournalState::FoldersInWork() const
{
    std::set<QString> folders;
    for (const Document& document : documents) {
        for (const auto& [page, to] : document.plan.paths)
            folders.insert(QFileInfo(to).path());
    }
    return folders;
}

JournalState::Standing JournalState::StandingOf(const QString& name, bool retriesFailed) const
{
    const auto found = documents.find(name);
    if (found == documents.end())
        return Standing::ToDo;
    const bool isTriedAgain = found->standing == Standing::Failed || found->LacksPages();
    return retriesFailed && isTriedAgain ? Standing::ToDo : found->standing;
}

JournalState::Standing JournalState::Take(const QString& name, bool retriesFailed)
{
    const Standing standing = StandingOf(name, retriesFailed);
    Document& document = documents[name];
    if (std::exchange(document.isTaken, true))
        return Standing::Taken;
    document.standing = standing;
    return standing;
}

std::optional<JournalState::Plan> JournalState::PlanOf(const QString& name) const
{
    const auto found = documents.find(name);
    if (found == documents.end() || found->plan.pages == 0)
        return std::nullopt;
    return found->plan;
}

bool JournalState::HasPlaced(const QString& at) const
{
    const QList<Checksum> sums = placed.values(at);
    const auto there = sums.isEmpty() ? std::nullopt : Checksum::Of(at.toStdString());
    return there && sums.contains(*there);
}

bool JournalState::HasFailed() const
{
    return hasNamelessFailed ||
           std::any_of(documents.begin(), documents.end(), [](const Document& document) {
               return document.standing == Standing::Failed;
           });
}

bool JournalState::HasFailedPages() const
{
    return std::any_of(documents.begin(), documents.end(),
                       [](const Document& document) { return document.LacksPages(); });
}

bool JournalState::IsDone(const QString& name) const
{
    return documents.value(name).standing == Standing::Done;
}

void JournalState::SetFailed(const QString& name, const QString& reason)
{
    // It is shown like the name of another document, which it is not to stand for.
    if (reason == QLatin1String("not-a-name"))
        hasNamelessFailed = true;
    else
        documents[name].standing = Standing::Failed;
}

} // namespace Korvel::App
