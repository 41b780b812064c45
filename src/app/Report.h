#pragma once

#include <string>

#include <QElapsedTimer>
#include <QStringList>

namespace Korvel::App {

/** Speaks to the user: results on standard output, everything else on standard error. */
class Report
{
public:
    /**
     * @param quiet  print results and complaints only
     * @param bar    draw a progress bar when standard error is a terminal
     */
    Report(bool quiet, bool bar);
    ~Report();

    /** Says that `pages` pages of `name` are about to be converted. */
    void Begin(const QString& name, int pages);

    /** Draws how far the conversion is, from 0 to 1; at most some ten times a second. */
    void Progress(double progress);

    /** Removes the progress bar. */
    void End();

    /** Prints what went wrong. */
    void Complain(const std::string& message);

    /** Prints, unless it is to be quiet, that a result wants a look. */
    void Warn(const std::string& message);

    /** How often there was reason to warn. */
    int Warnings() const { return warnings; }

    /** Prints, unless it is to be quiet, what is good to know. */
    void Note(const std::string& message);

    /** Prints final paths; false when standard output did not take them. */
    bool Results(const QStringList& paths);

    /** Prints what a file holds; false when standard output did not take it whole. */
    bool Content(const QString& file);

    /** Prints, unless it is to be quiet, how a run over several inputs has ended. */
    void Summary(std::size_t inputs, std::size_t failures);

private:
    Report(const Report&) = delete;
    Report& operator=(const Report&) = delete;

    const bool quiet;
    const bool bar;
    int warnings = 0;
    bool drawn = false;
    QString name;
    int pages = 0;
    QElapsedTimer sinceDrawn;
};

} // namespace Korvel::App
