#include "PageBoxes.h"

#include <cmath>
#include <cstddef>

namespace Korvel::Worker {

namespace {

constexpr int turnsInAll = 4;
constexpr double degreesATurn = 90;

/** The keys of the boxes in the order of PageView::Box. */
constexpr const char* boxKeys[] = {"/CropBox", "/MediaBox", "/TrimBox", "/BleedBox", "/ArtBox"};

} // namespace

const char* KeyOf(PageView::Box box)
{
    return boxKeys[std::size_t(box)];
}

QRectF BoxOf(QPDFPageObjectHelper& page, PageView::Box box, const QRectF& otherwise)
{
    QPDFObjectHandle found = page.getAttribute(KeyOf(box), false);
    if (!found.isRectangle())
        return otherwise;
    const QPDFObjectHandle::Rectangle corners = found.getArrayAsRectangle();
    const QRectF rectangle(QPointF(corners.llx, corners.lly), QPointF(corners.urx, corners.ury));
    return rectangle.isEmpty() ? otherwise : rectangle;
}

QRectF MediaBoxOf(QPDFPageObjectHelper& page)
{
    const QRectF letter(0, 0, 612, 792);
    return BoxOf(page, PageView::Box::Media, letter);
}

int TurnsOf(QPDFPageObjectHelper& page)
{
    QPDFObjectHandle rotation = page.getAttribute("/Rotate", false);
    const double degrees =
        rotation.isNumber() ? std::fmod(rotation.getNumericValue(), turnsInAll * degreesATurn) : 0;
    const int turns = std::isfinite(degrees) ? int(degrees / degreesATurn) : 0;
    return (turns + turnsInAll) % turnsInAll;
}

} // namespace Korvel::Worker
