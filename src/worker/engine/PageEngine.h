#pragma once

#include "DrawRows.h"

#include <memory>
#include <string>
#include <vector>

#include <QByteArray>
#include <QPointF>
#include <QRectF>
#include <QSizeF>
#include <QString>

namespace Korvel::Worker {

/** A character of a page and where it stands, in points from the top left of what is shown. */
struct TextCharacter
{
    char32_t code = 0;
    /** As wide as the next character is away, and as high as its font. */
    QRectF box;
    /** The em of its font, in points. */
    double fontSize = 0;
    /** Where it begins on its baseline. */
    QPointF origin;
    /** How far its baseline is turned, clockwise, in degrees from 0 to 359. */
    int turned = 0;
    /** How far below its baseline it ends, in ems, where all of it is there; 0 for others. */
    double hang = 0;
    /** The middle of its ink, where it is a mark without a width; null for others. */
    QPointF inkedAt;
    /** Whether its font is one of TeX's symbols, whose codes may stand for their names. */
    bool isOfTexSymbols = false;
    /** Whether its font has no name, as those of bitmaps; only of signs and of mere codes. */
    bool isOfBitmaps = false;
    /** The number of its font among those of the page's characters; -1 where it is not known. */
    int font = -1;
};

/** What stands on a page, in the order in which it is drawn. */
struct DrawnCharacters
{
    std::vector<TextCharacter> characters;
    std::vector<std::string> fonts;
};

/**
 * What draws the pages of one document and reads their text. Pages are counted from 0; a page stays
 * loaded until the next one is.
 *
 *     const auto engine = MakePageEngine();
 *     if (engine->Open("/tmp/report.pdf"))
 *         WritePicture(file, shape, encoding, engine->Draw(0, shape));
 */
class PageEngine
{
public:
    virtual ~PageEngine() = default;

    /** Opens a document without encryption in a file; false where the engine does not. */
    virtual bool Open(const std::string& path) = 0;

    /** Opens one in memory, if none is open yet; false where the engine does not. */
    virtual bool Open(const QByteArray& bytes) = 0;

    /** Whether the file could not be read whole; engines make do with the rest. */
    virtual bool HasFailed() const = 0;

    virtual int PageCount() const = 0;

    /** In points, of the crop box as it is shown, the page's rotation applied. */
    virtual QSizeF PageSize(int page) = 0;

    /**
     * What draws a page on white, or on nothing where the shape is transparent, annotations
     * included, as its rows are asked for, in any order. It is used before another page is drawn or
     * read.
     *
     * @throws RequestError  "cannot-render"; what it answers throws that, too
     * @throws std::bad_alloc
     */
    virtual DrawRows Draw(int page, const PictureShape& shape) = 0;

    /** Whether it tells where each character stands. */
    virtual bool KnowsPlaces() const = 0;

    /** A page's text in the engine's own order, its lines ended by "\r\n". */
    virtual QString Text(int page) = 0;

    /**
     * A page's characters as they are drawn; none where the engine does not tell their places.
     *
     * @param wantsFonts  whether the names of fonts are wanted, which take some time
     */
    virtual DrawnCharacters Characters(int page, bool wantsFonts) = 0;

    /** Whether it has kept so much memory for good that another process is to go on. */
    virtual bool IsWorn() const { return false; }

protected:
    PageEngine() = default;

private:
    PageEngine(const PageEngine&) = delete;
    PageEngine& operator=(const PageEngine&) = delete;
};

/** An engine of this program's kind; after StartEngine. */
std::unique_ptr<PageEngine> MakePageEngine();

} // namespace Korvel::Worker
