#pragma once

#include <map>
#include <string>
#include <vector>

#include <QByteArray>
#include <QByteArrayList>
#include <QColor>
#include <QRect>
#include <QSizeF>
#include <QString>

/** How libqpdf encrypts a document. */
enum class Encryption { Rc4_40, Rc4_128, Aes128, Aes256 };

/**
 * Makes an A4 document of which every page says its number, "Page 1" and so on, and shows a vector
 * drawing, a picture, and a patch in a colour of its own. Title "Sample".
 *
 * Needs a QGuiApplication.
 *
 * @throws std::runtime_error  the file cannot be written
 */
void MakeSamplePdf(const QString& path, int pages);

/** The colour of a page's patch, and where it lies on the page, in points from the top left. */
QColor SampleColour(int page);
inline constexpr QRect samplePatch{400, 60, 120, 60};

/** What a document allows to those who do not have its owner password. */
struct Allowed
{
    bool print = true;
    bool printHighResolution = true;
    bool modify = true;
    bool copy = true;
    bool annotate = true;
    bool fillForms = true;
    bool accessibility = true;
    bool assemble = true;
};

/**
 * Encrypts a document. The passwords are taken as they are, byte by byte.
 *
 * @param allowed  of this, Rc4_40 knows only how to print, modify, copy and annotate; Aes128 and
 *                 Aes256 always allow accessibility
 */
void EncryptPdf(const QString& from, const QString& to, Encryption encryption,
                const QByteArray& userPassword, const QByteArray& ownerPassword,
                const Allowed& allowed = {});

/**
 * Makes such pages into a document with all that a document can list for its pages.
 *
 * Headings "One" with "One below" folded away, "Two" by a name, and "Out" that leads to a site.
 * Pages called i, ii, 1, 2, ... On each page a field, "field 1" and so on, of which the value is
 * "value 1", and a link to the next page, that of the last one to the first. An attachment
 * "notes.txt", tags with a text "tag 1" for each page, and all pictures and fonts among the
 * resources of all pages.
 */
void MakeListedPdf(const QString& path, int pages);

// Documents of one such page with something special about it.

/**
 * With a text field of the value "Filled in", and with the square of MakeAnnotatedPdf. The
 * appearances of both are for the reader to make.
 */
void MakeFormPdf(const QString& path);
inline constexpr QRect sampleField{100, 600, 300, 40};

/** With a square in this colour, drawn by the appearance of an annotation. */
void MakeAnnotatedPdf(const QString& path);
inline constexpr QRect sampleAnnotation{100, 660, 80, 60};
inline constexpr QColor sampleAnnotationColour{0, 160, 0};

/** Turned by 90 degrees clockwise. */
void MakeRotatedPdf(const QString& path);

/** Of which only this part is to be shown, in points from the top left of the A4 page. */
void MakeCroppedPdf(const QString& path, const QRect& part);

/** With boxes, by their names in PDF, in points from the top left of the A4 page, and turned. */
void MakePdfWithBoxes(const QString& path, const std::map<std::string, QRect>& boxes,
                      int degrees = 0);

/** Of a size of its own, in points. */
void MakePdfOfSize(const QString& path, const QSizeF& size);

/** With a page of each size, in points; all show the beginning of the same A4 page. */
void MakePagesOfSizes(const QString& path, const std::vector<QSizeF>& sizes);

/** What a page is like that shows a JPEG, 288 points wide and 144 high. */
struct ScannedPage
{
    QByteArray jpeg;
    std::string content = "q 288 0 0 144 0 0 cm /Scan Do Q";
    /** Members of the picture and of the page as PDF has them, in place of what they would be. */
    std::string picture = {};
    std::string page = {};
};

/** Makes a document of such pages. */
void MakeScannedPdf(const QString& path, const std::vector<ScannedPage>& pages);

/** A stream that is not packed, with further members of its dictionary. */
QByteArray PdfStream(const QByteArray& data, const QByteArray& dictionary = {});

/** A document of these objects, numbered from one; the first one is its catalog. */
QByteArray PdfOf(const QByteArrayList& objects);

/**
 * Makes a document whose pages have these crop boxes, and a media box of 200 by 200 points; on each
 * of them the same is drawn. A page whose crop box lies outside cannot be converted.
 */
void MakePdfOfCropBoxes(const QString& path, const QByteArrayList& cropBoxes,
                        const QByteArray& drawn = {});

void MakePdfWithoutPages(const QString& path);

/** Damage of a kind that can be repaired, to a file that QPdfWriter or libqpdf has made. */
void BreakCrossReferences(const QString& path);
void LoseStreamLengths(const QString& path);
