#pragma once

#include "ExitCode.h"
#include "JournalReader.h"
#include "JournalTotals.h"
#include "ReportOptions.h"
#include "Terminal.h"
#include "Verification.h"

#include <vector>

#include <QElapsedTimer>
#include <QJsonArray>

namespace Korvel::App {

class Interruption;
class Console;
class Failure;

/** Adds journals up and prints what they come to: pdfconvert report. */
class ReportCommand
{
public:
    ReportCommand(const ReportOptions& options, Console& console, const Interruption& interruption);

    /**
     * Prints once or, where journals are followed, until nothing is left to do.
     *
     * @throws Failure      Output: standard output does not take it
     * @throws Interrupted  a signal came
     */
    ExitCode Run();

private:
    ReportCommand(const ReportCommand&) = delete;
    ReportCommand& operator=(const ReportCommand&) = delete;

    struct Journal
    {
        explicit Journal(const QString& path) : path(path), reader(path) {}

        QString path;
        JournalReader reader;
        JournalTotals totals;
        Verification verification;
        bool isRefused = false;
    };

    void ReadOn();
    void ReadOn(Journal& journal);
    void Refuse(const Journal& journal, const Failure& failure);
    void TellDamage();
    void Verify();
    bool IsAnyRead() const;
    bool IsOver() const;
    Totals Total() const;
    ExitCode Code(const Totals& total) const;
    QString Json(const Totals& total) const;
    void Show();
    void ShowLast();
    void Draw(const QString& text);
    void Print(const QString& text) const;
    void Wait() const;

    const ReportOptions options;
    Console& console;
    const Interruption& interruption;
    /** Standard output. */
    const Terminal terminal;
    std::vector<Journal> journals;
    QJsonArray unreadable;
    Verified verified;
    /** The text that was printed last, and how long ago. */
    QString shown;
    QElapsedTimer sinceShown;
    /** How many lines of the terminal the last text takes. */
    int drawn = 0;
};

} // namespace Korvel::App
