#pragma once

#include "Checksum.h"
#include "PlannedPaths.h"
#include "Result.h"

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <QFile>
#include <QHash>
#include <QJsonObject>
#include <QMultiHash>

namespace Korvel::App {

struct JournalOptions;
struct OutputOptions;
struct PageOptions;

/**
 * Writes down what becomes of each document, so that a run that is killed can be started again and
 * goes on where it ended. docs/command.md describes the lines.
 *
 * One run at a time has a journal, which it holds by a lock. Used on the main thread.
 */
class Journal
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
        /** Of the document. */
        int pages = 0;
        /** By page; 0 for the document as a whole. Results that were left away are not there. */
        std::map<int, QString> paths;
    };

    /**
     * Takes the journal, and reads what earlier runs have written.
     *
     * @param output, pages  the settings, which have to be those of the run that began the journal
     * @throws Failure  Output: another run has it, or it cannot be written; Input: it is no
     *                  journal; Usage: it was begun with other settings
     */
    Journal(const JournalOptions& options, const OutputOptions& output, const PageOptions& pages);

    /**
     * Writes down that a run begins, and removes what a killed one was just putting in place.
     *
     * @param session  name of the session folder, which marks such files
     */
    void Begin(const QString& session);

    /** Writes down how the run has ended. */
    void End(int exitCode);

    /** Takes a document up, and tells how it stands. */
    Standing Take(const QString& name);

    /** What an earlier run has planned for a document that it has not converted. */
    std::optional<Plan> PlanOf(const QString& name) const;

    /** Gives away what earlier runs have planned. */
    PlannedPaths ReleasePlanned() { return std::move(planned); }

    /** Whether a document stays that has failed, in this run or before. */
    bool HasFailed() const;

    /** Whether a document was repaired before. */
    bool HasRepaired() const { return hasRepaired; }

    /** Writes down the plan of a document; it is on the disk before any of its results is. */
    void Planned(const QString& name, int pages, const std::vector<Result>& results);

    /** The same of one that has a plan already. */
    void PlannedAnew(const QString& name, const std::vector<Result>& results);

    /** Writes down that a file is about to be put in place; false when that is not on the disk. */
    bool Placing(const QString& to, const Checksum& sum);

    /** Takes that back, as another file was there. */
    void Refused(const QString& to, const Checksum& sum);

    /** Whether what lies at `at` was put there for a document that was not done. */
    bool HasPlaced(const QString& at) const;

    /** Writes down that the results are in place; there may be none. */
    void Done(const QString& name, const std::vector<Result>& results, double seconds,
              bool isRepaired);

    /** Writes down why a document was not converted; nothing of one that is done. */
    void Failed(const QString& name, const char* reason, const std::string& message);

    /** Whether all that was to be written is on the disk. */
    bool IsSound() const { return problem.isEmpty(); }

    /** @throws Failure  Output: not all is on the disk; what is told then is lost */
    void Check();

    /** Makes what was written to a file, or the names in a folder, last. */
    static bool FlushToDisk(const QString& what);

private:
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    struct Document
    {
        Standing standing = Standing::ToDo;
        Plan plan;
        bool isTaken = false;
    };

    void Open();
    void Lock() const;
    void Read(const QJsonObject& line);
    void ReadBegun(const QJsonObject& line);
    void ReadPlanned(const QString& name, const QJsonObject& line);
    void SetFailed(const QString& name, const QString& reason);
    void ReadDone(const QString& name, const QJsonObject& line);
    void CheckSettings() const;
    void RemoveHidden() const;
    std::set<QString> FoldersInWork() const;
    void Append(const char* event, QJsonObject members);
    void Flush();

    const QString path;
    const bool retriesFailed;
    /** What this run was asked for. */
    const QJsonObject settings;
    QFile file;
    /** Why it could not be written; empty when it could. */
    QString problem;
    /** What the first run was asked for; empty when there was none. */
    QJsonObject firstSettings;
    /** Where the last whole line ends. */
    qint64 size = 0;
    /** Name of the session folder of the last run, if that was killed. */
    QString abandoned;
    QHash<QString, Document> documents;
    /** Of documents that were not done: path -> what was put there. */
    QMultiHash<QString, Checksum> placed;
    /** Every path that was ever planned. */
    PlannedPaths planned;
    bool hasRepaired = false;
    /** Whether a name failed that is none, and so is nobody's name. */
    bool hasBadName = false;
};

} // namespace Korvel::App
