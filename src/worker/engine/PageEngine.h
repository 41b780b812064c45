#pragma once

#include "DrawRows.h"

#include <memory>
#include <string>
#include <vector>

#include <QByteArray>
#include <QRectF>
#include <QSizeF>
#include <QString>

namespace Korvel::Worker {

/** Text as it is drawn, its lines ended by "\r\n". */
struct DrawnText
{
    QString text;
    /**
     * The boxes of its runs in points, from the top of the page and its left as they are before the
     * page is turned: so most text lies in lines.
     */
    std::vector<QRectF> boxes;
};

/** A character of a page and where it stands, in points from the top left of what is shown. */
struct TextCharacter
{
    char32_t code = 0;
    QRectF box;
    /** The em of its font, in points. */
    double fontSize = 0;
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
     * What draws a page on white, annotations included, as its rows are asked for, in any order. It
     * is used before another page is drawn or read.
     *
     * @throws RequestError  "cannot-render"; what it answers throws that, too
     * @throws std::bad_alloc
     */
    virtual DrawRows Draw(int page, const PictureShape& shape) = 0;

    /** A page's text. */
    virtual DrawnText Text(int page) = 0;

    /** A stretch of it, counted in characters; where some have no code, it is another text. */
    virtual DrawnText Text(int page, int start, int length) = 0;

    /** A page's characters as they are drawn; none where the engine does not tell of them. */
    virtual std::vector<TextCharacter> Characters(int page) = 0;

protected:
    PageEngine() = default;

private:
    PageEngine(const PageEngine&) = delete;
    PageEngine& operator=(const PageEngine&) = delete;
};

/** An engine of this program's kind; after StartEngine. */
std::unique_ptr<PageEngine> MakePageEngine();

} // namespace Korvel::Worker
