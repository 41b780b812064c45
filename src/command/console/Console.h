#pragma once

#include "ConsoleOptions.h"
#include "Failure.h"
#include "ProgressBar.h"
#include "Result.h"
#include "Terminal.h"

#include <optional>
#include <string>
#include <vector>

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

namespace Korvel {
namespace PDF {
struct DocumentInfo;
}

namespace App {

class Interruption;

/**
 * Speaks to the user: results on standard output, everything else on standard error.
 *
 * For other programs it writes JSON, whose members docs/command.md describes: events, a line each,
 * in place of messages and progress, and one closing document in place of the results' paths.
 */
class Console
{
public:
    Console(const ConsoleOptions& options, const Interruption& interruption);
    ~Console();

    /** Says how much there is to convert, or that there is more or less than it was said. */
    void Expect(int documents, int results);

    /** Says that a document's conversion to `results` files begins; a number for it. */
    int Begin(const QString& name, int results);

    /**
     * Shows how far the conversions are, this one from 0 to 1; now and then, however often it is
     * called.
     */
    void Progress(int work, double fraction);

    /** The conversion is over; what has come of it is told by others. */
    void End(int work);

    /**
     * Says that the results are in place; false when standard output did not take their paths.
     *
     * @param inputs  what they were made of, where that is not the one of that name
     */
    bool Finished(const QString& name, const std::vector<Result>& results,
                  const QStringList& inputs = {});

    /** Says where the results would be, as Finished does. */
    bool Planned(const QString& name, const std::vector<Result>& results,
                 const QStringList& inputs = {});

    /** Writes what a file holds to standard output; false when that did not take it whole. */
    bool Content(const QString& name, const QString& file);

    /** Says what is known of a document; false when standard output did not take it. */
    bool Describe(const QString& name, const PDF::DocumentInfo& info);

    /** Says what went wrong, with an input or, with an empty `name`, in all. */
    void Failed(const QString& name, const Failure& failure);

    /** Says why an input could not be opened or planned, which the closing document begins with. */
    void NotPlanned(const QString& name, const Failure& failure);

    /** Says, unless it is to be quiet, that a result wants a look, or lacks a page. */
    void Warn(const QString& name, const char* reason, const std::string& message, int page = 0);

    /** Warns that a document was damaged. */
    void WarnOfRepair(const QString& name);

    /** How many pages there was reason to warn of: those that could not be converted. */
    int FailedPages() const { return failedPages; }

    /** How often there was reason to warn. */
    int Warnings() const { return warnings; }

    /** Says, unless it is to be quiet, what is good to know. */
    void Note(const std::string& message);

    /** Says so to programs as well. */
    void Note(const char* reason, const std::string& message);

    /** Takes what pages are drawn by, for the closing document; empty when no document was opened.
     */
    void DrawnBy(const QString& name) { engine = name; }

    /** Ends the run; false when standard output did not take the closing document. */
    bool Close(int exitCode);

private:
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    bool WritePaths(const QString& name, const std::vector<Result>& results,
                    const QJsonArray& described, const QStringList& inputs);
    bool IsForPrograms() const { return json || style == ProgressStyle::Json; }
    bool WriteResult(const QString& text) const;
    bool WriteFile(const QString& path) const;
    void Say(const QString& text) const;
    void Print(const std::string& message, std::optional<Terminal::Color> color = {});
    void Emit(const char* event, QJsonObject members);
    void Keep(QJsonObject document, bool isOk);
    QJsonObject Complain(const QString& name, const Failure& failure);
    void Draw(const QString& text);
    void Erase();

    const Interruption& interruption;
    const bool quiet;
    const bool json;
    /** Standard error. */
    const Terminal terminal;
    const ProgressStyle style;
    int warnings = 0;
    int failedPages = 0;
    ProgressBar progress;
    QElapsedTimer sinceShown;
    bool isDrawn = false;
    /** What the closing document is to say. */
    QJsonArray documents;
    QJsonArray notPlanned;
    QJsonArray warned;
    QJsonArray notes;
    QString engine;
};

} // namespace App
} // namespace Korvel
