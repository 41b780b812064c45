#pragma once

#include "Checksum.h"

#include <map>
#include <optional>
#include <set>
#include <utility>

#include <QHash>
#include <QJsonObject>
#include <QMultiHash>
#include <QString>

namespace Korvel::App {

/** How the documents of a journal stand, by the lines of earlier runs and by what this one does. */
class JournalState
{
public:
    /** How a document stands that the run was given. */
    enum class Standing {
        ToDo,   ///< is to be converted
        Taken,  ///< was given before
        Done,   ///< an earlier run has converted it, or there was nothing to make
        Failed, ///< an earlier run could not convert it
    };

    /** Where the results of a document were to go. */
    struct Plan
    {
        /** How many pages the document had. */
        int pages = 0;
        /** The paths by page, 0 for the document as a whole, without what was left away. */
        std::map<int, QString> paths;
        /** Whether the document was converted to these, but for pages that it lacks. */
        bool isConverted = false;
    };

    /** Takes in a line that an earlier run has written. */
    void Read(const QJsonObject& line);

    /** The settings of the first run that has planned something; empty when there was none. */
    QJsonObject Settings() const { return planned.empty() ? QJsonObject() : settings; }

    /** What was to draw the pages that were planned last; empty when none was planned. */
    const QString& Engine() const { return engine; }

    /** Name of the session folder of the last run, if that was killed. */
    const QString& Abandoned() const { return abandoned; }

    /** Where the results of documents lie, or were to lie, that are not done. */
    std::set<QString> FoldersInWork() const;

    /** How a document stands; one that has failed, or lacks pages, is to do when it is retried. */
    Standing StandingOf(const QString& name, bool retriesFailed) const;

    /** Takes a document up, and tells how it stands. */
    Standing Take(const QString& name, bool retriesFailed);

    /** What an earlier run has planned for a document that it has not converted. */
    std::optional<Plan> PlanOf(const QString& name) const;

    /** Gives away every path that was ever planned, with the document that it was planned for. */
    std::map<QString, QString> ReleasePlanned() { return std::move(planned); }

    /** Whether what lies at `at` was put there by an earlier run for a document that is not done.
     */
    bool HasPlaced(const QString& at) const;

    /** Whether a document stays that has failed, in this run or before. */
    bool HasFailed() const;

    /** Whether lines may be lost as the first one was torn. */
    bool HasLostBeginning() const { return hasLostBeginning; }

    /** Whether a document was repaired before. */
    bool HasRepaired() const { return hasRepaired; }

    /** Whether a document lacks pages that an earlier run could not convert. */
    bool HasFailedPages() const;

    int PagesOf(const QString& name) const { return documents.value(name).plan.pages; }
    void SetPages(const QString& name, int pages) { documents[name].plan.pages = pages; }

    bool IsDone(const QString& name) const;
    /** Says that this run has converted it, which tells itself of pages that are missing. */
    void SetDone(const QString& name)
    {
        documents[name].standing = Standing::Done;
        documents[name].lacksPages = false;
    }

    /** Says that a document has failed; one without a name, by the reason, is none of the others.
     */
    void SetFailed(const QString& name, const QString& reason);

private:
    struct Document
    {
        Standing standing = Standing::ToDo;
        Plan plan;
        bool isTaken = false;
        bool lacksPages = false;

        bool LacksPages() const { return standing == Standing::Done && lacksPages; }
    };

    void ReadBegun(const QJsonObject& line);
    void ReadPlanned(const QString& name, const QJsonObject& line);
    void ReadDone(const QString& name, const QJsonObject& line);

    QJsonObject settings;
    QString engine;
    QString abandoned;
    QHash<QString, Document> documents;
    /** What earlier runs have put at a path, for documents that are not done. */
    QMultiHash<QString, Checksum> placed;
    /** Every path that was ever planned -> name of the document. */
    std::map<QString, QString> planned;
    bool hasRepaired = false;
    bool hasLostBeginning = false;
    bool hasNamelessFailed = false;
};

} // namespace Korvel::App
