#include "ShowPages.h"

#include "PageBoxes.h"

#include <cmath>

#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>

#include <QPointF>

namespace Korvel::Worker {

namespace {

constexpr int turnsInAll = 4;
constexpr double degreesATurn = 90;

/** The names of the boxes in the order of PageView::Box. */
constexpr const char* boxNames[] = {"crop", "media", "trim", "bleed", "art"};

/** From the top left of what is shown of a box to the coordinates of PDF. */
QPointF ToPdf(const QPointF& point, const QRectF& box, int turns)
{
    switch (turns) {
    case 1:
        return {box.left() + point.y(), box.top() + point.x()};
    case 2:
        return {box.right() - point.x(), box.top() + point.y()};
    case 3:
        return {box.right() - point.y(), box.bottom() - point.x()};
    default:
        return {box.left() + point.x(), box.bottom() - point.y()};
    }
}

QRectF ToPdf(const QRectF& part, const QRectF& box, int turns)
{
    return QRectF(ToPdf(part.topLeft(), box, turns), ToPdf(part.bottomRight(), box, turns))
        .normalized();
}

QPDFObjectHandle ToArray(const QRectF& box)
{
    return QPDFObjectHandle::newFromRectangle(
        QPDFObjectHandle::Rectangle(box.left(), box.top(), box.right(), box.bottom()));
}

void ShowBox(QPDFPageObjectHelper& page, const PageView& view)
{
    using Box = PageView::Box;
    const QRectF media = MediaBoxOf(page);
    const QRectF crop = BoxOf(page, Box::Crop, media);
    QRectF shown = BoxOf(page, view.box, view.box == Box::Media ? media : crop) & media;
    if (!view.part.isNull())
        shown &= ToPdf(view.part, shown, TurnsOf(page));
    if (shown.isEmpty())
        shown = media.translated(2 * media.width(), 0);
    QPDFObjectHandle object = page.getObjectHandle();
    object.replaceKey(KeyOf(Box::Media), ToArray(media));
    object.replaceKey(KeyOf(Box::Crop), ToArray(shown));
}

} // namespace

void ShowPages(QPDF& pdf, const PageView& view)
{
    for (QPDFPageObjectHelper& page : QPDFPageDocumentHelper(pdf).getAllPages()) {
        if (view.box != PageView::Box::Crop || !view.part.isNull())
            ShowBox(page, view);
        const int turns = (TurnsOf(page) + view.turns) % turnsInAll;
        page.getObjectHandle().replaceKey(
            "/Rotate", QPDFObjectHandle::newInteger(std::llround(turns * degreesATurn)));
    }
}

std::string WhyNothingIsShown(const PageView& view)
{
    const std::string box = std::string("its ") + boxNames[std::size_t(view.box)] + " box";
    return view.part.isNull() ? box + " lies outside of its media box, or is empty"
                              : "the part that is wanted lies outside of " + box;
}

} // namespace Korvel::Worker
