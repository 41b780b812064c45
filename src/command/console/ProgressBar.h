#pragma once

#include <map>

#include <QElapsedTimer>
#include <QString>

namespace Korvel::App {

/** How far the conversions of a run are, as a line with a bar or without one; draws nothing. */
class ProgressBar
{
public:
    /** A conversion that has begun and not ended. */
    struct Work
    {
        QString name;
        int pages;
        /** How much of it is done, from 0 to 1. */
        double fraction;
        QElapsedTimer sinceBegin;
    };

    /** Says how much there is to convert, or anew; the time counts from the first call on. */
    void Expect(int documents, int pages);

    /** Says that a document's conversion begins; a number for it. */
    int Begin(const QString& name, int pages);

    /** Says how far a conversion is. */
    const Work& Advance(int number, double fraction);

    /** The conversion is over; all its pages count as done. */
    void End(int number);

    /** What is converted, bar, pages, percent, rate and time left. */
    QString Text(bool hasBar) const;

private:
    double Pages() const;
    QString Subject() const;
    QString Rate(double fraction) const;

    std::map<int, Work> inWork;
    int lastNumber = 0;
    int expectedDocuments = 0;
    int expectedPages = 0;
    int endedDocuments = 0;
    int endedPages = 0;
    QElapsedTimer sinceBegin;
};

} // namespace Korvel::App
