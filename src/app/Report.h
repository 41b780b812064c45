#pragma once

#include <string>

#include <QElapsedTimer>
#include <QStringList>

namespace Korvel::App {

/** Speaks to the user: results on standard output, everything else on standard error. */
class Report
{
public:
    /** @param bar  whether to draw a progress bar when standard error is a terminal */
    explicit Report(bool bar);
    ~Report();

    /** Says that `pages` pages of `name` are about to be converted. */
    void Begin(const QString& name, int pages);

    /** Draws how far the conversion is, from 0 to 1; at most some ten times a second. */
    void Progress(double progress);

    /** Removes the progress bar. */
    void End();

    /** Prints a message for the user. */
    void Complain(const std::string& message);

    /** Prints the final paths; false when standard output did not take them. */
    bool Results(const QStringList& paths);

private:
    Report(const Report&) = delete;
    Report& operator=(const Report&) = delete;

    const bool bar;
    bool drawn = false;
    QString name;
    int pages = 0;
    QElapsedTimer sinceDrawn;
};

} // namespace Korvel::App
