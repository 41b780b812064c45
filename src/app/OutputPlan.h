#pragma once

#include <vector>

#include <QString>

namespace Korvel {
namespace PDF {
class IFileSystem;
}

namespace App {

/** The path of the results as the user wrote it, such as "pages/page-%03d.png". */
class OutputTemplate
{
public:
    /**
     * Understands %d and %0Nd (page number, N from 1 to 9) and %%.
     *
     * @throws Failure  Usage: another %, no file name, no suffix or one that is no known format
     */
    static OutputTemplate Parse(const QString& text);

    /** The format that the suffix asks for, in small letters, as WorkerConverter takes it. */
    const QString& Format() const { return format; }

    /** Whether the results are pictures, one for each page. */
    bool MakesPictures() const;

    /** Whether it has a place for the page number. */
    bool HasPageNumber() const;

    /** The path for a page; for the document as a whole without the page number's places. */
    QString ForPage(int page) const;

    /** The same template with "-%0Nd" before the suffix, N the digits of `lastPage`. */
    OutputTemplate WithPageNumber(int lastPage) const;

private:
    struct Piece
    {
        QString text;
        /** Digits of the page number that follows the text; -1 when none follows. */
        int digits = -1;
    };

    std::vector<Piece> pieces;
    QString format;
};

/** One result to make. */
struct PlannedResult
{
    /** From 1; 0 for the document as a whole. */
    int page = 0;
    /** Where it goes when nothing is there. */
    QString wanted;
    /** Where it goes. */
    QString path;
};

/**
 * `wanted`, or the first of "name(2).suffix", "name(3).suffix" ... at which nothing exists and that
 * is in nobody's plan. Literal: no character of the name has a meaning.
 */
QString FreePath(const QString& wanted, const std::vector<PlannedResult>& planned,
                 PDF::IFileSystem& fileSystem);

} // namespace App
} // namespace Korvel
