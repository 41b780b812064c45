#pragma once

#include <vector>

#include <QString>
#include <QStringList>

namespace Korvel::App {

/** The path of the results as the user wrote it, such as "pages/%s-%03d.png". */
class OutputTemplate
{
public:
    /**
     * Understands %d and %0Nd (page number, N from 1 to 9), %s (the input's name), %p (its folder)
     * and %%.
     *
     * @param format  of the results; when it is empty the suffix tells it
     * @throws Failure  Usage: another %, no file name, no suffix or one that is no known format
     */
    static OutputTemplate Parse(const QString& text, const QString& format = {});

    /** The suffixes of all formats, which are those that WorkerConverter supports. */
    static QStringList Formats();

    /** Whether a format makes pictures, one for each page. */
    static bool IsPictureFormat(const QString& format);

    /** What the worker calls a format: "tif" for "tiff"; empty for none that is known. */
    static QString NameOf(const QString& format);

    /** The format, in small letters, as WorkerConverter takes it. */
    const QString& Format() const { return format; }

    /** Whether the results are pictures, one for each page. */
    bool MakesPictures() const { return IsPictureFormat(format); }

    /** Whether all pages of a document go into one file of pictures. */
    bool JoinsPictures() const;

    /** Whether it has a place for the page number. */
    bool HasPageNumber() const;

    /** Whether it has a place for the input's folder. */
    bool HasFolder() const;

    /** Whether it has a place for the input's name. */
    bool HasInputName() const;

    /**
     * The path of a result.
     *
     * @param input   the input's name
     * @param page    from 1; 0 for the document as a whole, which leaves the page number away
     * @param folder  the input's; an empty one takes a slash behind it away with it
     */
    QString Path(const QString& input, int page, const QString& folder = {}) const;

    /** This template with "-%0Nd" before the suffix, N the digits of `lastPage`. */
    OutputTemplate WithPageNumber(int lastPage) const;

private:
    /** A text, and what stands behind it. */
    struct Piece
    {
        enum Place { Nothing, PageNumber, InputName, InputFolder };

        QString text;
        Place place = Nothing;
        /** Least digits of the page number. */
        int digits = 1;
    };

    static Piece::Place PlaceOf(const QString& letters);
    bool HasPlace(Piece::Place place) const;

    std::vector<Piece> pieces;
    QString format;
};

} // namespace Korvel::App
