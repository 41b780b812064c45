#pragma once

#include "Checksum.h"
#include "JournalReader.h"
#include "JournalState.h"
#include "Result.h"

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QString>

namespace Korvel::App {

struct JournalOptions;
struct OutputOptions;
struct PageOptions;

/**
 * Writes down what becomes of each document, so that a run that is killed can be started again and
 * goes on where it ended. docs/command.md describes the lines.
 *
 * One run at a time has a journal, which it holds by a lock. A run without one has a journal that
 * is off: it writes nothing, and by it every document is to be converted. Used on the main thread.
 */
class Journal
{
public:
    using Standing = JournalState::Standing;
    using Plan = JournalState::Plan;

    /**
     * Takes the journal, and reads what earlier runs have written; it is off when the options name
     * none.
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

    /** Whether a document is neither done nor, unless that is tried again, failed. */
    bool IsToDo(const QString& name) const
    {
        return state.StandingOf(name, retriesFailed) == Standing::ToDo;
    }

    /** Writes down how many documents that are to do the run was given. */
    void Given(std::size_t documents);

    /** What the user is to know of it, as lines are damaged; empty when none is. */
    std::string Damage() const;

    /** Whether nothing is written down. */
    bool IsOff() const { return path.isEmpty(); }

    /** Writes down how the run has ended. */
    void End(int exitCode);

    /** Takes a document up, and tells how it stands. */
    Standing Take(const QString& name);

    /** What an earlier run has planned for a document that it has not converted. */
    std::optional<Plan> PlanOf(const QString& name) const { return state.PlanOf(name); }

    /** Gives away every path that earlier runs have planned, with the document's name. */
    std::map<QString, QString> ReleasePlanned() { return state.ReleasePlanned(); }

    /** Whether a document stays that has failed, in this run or before. */
    bool HasFailed() const { return state.HasFailed(); }

    /** Whether a document was repaired before. */
    bool HasRepaired() const { return state.HasRepaired(); }

    /** Whether a document lacks pages that could not be converted. */
    bool HasFailedPages() const { return state.HasFailedPages(); }

    /**
     * Takes for the documents that are planned from now on what draws their pages.
     *
     * @param isChosen  whether the user has said which
     * @throws Failure  Usage: pages that the journal tells of were drawn by another one, and this
     *                  one was not chosen
     */
    void UseEngine(const QString& name, bool isChosen);

    /** Writes down the plan of a document; it is on the disk before any of its results is. */
    void Planned(const QString& name, int pages, const std::vector<Result>& results);

    /** Makes a folder last that results go to, and those that it lies in, which may be new as well.
     */
    void Keep(const QString& folder);

    /** Writes down that one result of a document that has a plan goes elsewhere. */
    void PlannedAnew(const QString& name, const Result& result);

    /**
     * Writes down that the file at `from` is about to be put in place at `to`; false when that, or
     * the file's bytes, are not on the disk.
     */
    bool Placing(const QString& from, const QString& to);

    /** Takes back what was written down last, as another file is at `to`. */
    void Refused(const QString& to);

    /** Whether what lies at `at` was put there for a document that was not done. */
    bool HasPlaced(const QString& at) const { return state.HasPlaced(at); }

    /**
     * Whether lines are lost that told of other results, and what lies at `at` is what was about to
     * be put there.
     */
    bool CanHavePlaced(const QString& at) const;

    /** Whether lines are, or may be, lost that earlier runs have written, by which files may be
     * theirs. */
    bool IsDamaged() const;

    /** Writes down that the results are in place; there may be none. */
    void Done(const QString& name, const std::vector<Result>& results, double seconds,
              bool isRepaired, const QJsonArray& failedPages);

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

    void Open();
    void Lock() const;
    void CheckSettings() const;
    void RemoveHidden() const;
    void Append(const char* event, QJsonObject members);
    void Flush();
    void Seal();

    const QString path;
    const bool retriesFailed;
    /** What this run was asked for. */
    const QJsonObject settings;
    QFile file;
    /** Why it could not be written; empty when it could. */
    QString problem;
    /** What draws the pages; empty while that is not known. */
    QString engine;
    JournalReader reader;
    /** What tells this journal from others. */
    QString id;
    /** How many lines there are. */
    qint64 lines = 0;
    /** Where the number of lines that are on the disk stands; -1 where there is no room for it. */
    qint64 sealAt = -1;
    JournalState state;
    /** Folders that last. */
    std::set<QString> kept;
    /** The file that was written down last as about to be put in place. */
    Checksum placing;
};

} // namespace Korvel::App
