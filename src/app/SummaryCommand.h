#pragma once

#include "CommandLine.h"
#include "JournalSummary.h"

#include <vector>

#include <QElapsedTimer>
#include <QJsonArray>

namespace Korvel::App {

class Interruption;
class Report;

/** Adds journals up and prints what they come to: pdfconvert report. */
class SummaryCommand
{
public:
    SummaryCommand(const SummaryOptions& options, Report& report, const Interruption& interruption);

    /**
     * Prints once or, where journals are followed, until nothing is left to do.
     *
     * @throws Failure      Output: standard output does not take it
     * @throws Interrupted  a signal came
     */
    ExitCode Run();

private:
    SummaryCommand(const SummaryCommand&) = delete;
    SummaryCommand& operator=(const SummaryCommand&) = delete;

    struct Journal
    {
        QString path;
        JournalSummary summary;
        /** In bytes from the beginning. */
        qint64 read = 0;
        bool isRefused = false;
    };

    void ReadOn();
    void ReadOn(Journal& journal);
    bool IsOver() const;
    Summary Total() const;
    ExitCode Code(const Summary& total) const;
    QString Json(const Summary& total) const;
    void Show();
    void ShowLast();
    void Draw(const QString& text);
    void Print(const QString& text) const;
    void Wait() const;

    const SummaryOptions options;
    Report& report;
    const Interruption& interruption;
    const bool isOnTerminal;
    std::vector<Journal> journals;
    QJsonArray unreadable;
    /** What was printed last, and when. */
    QString shown;
    QElapsedTimer sinceShown;
    /** How many lines of the terminal it takes. */
    int drawn = 0;
};

} // namespace Korvel::App
