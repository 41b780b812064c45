#pragma once

#include "PageView.h"

#include <qpdf/QPDFPageObjectHelper.hh>

#include <QRectF>

namespace Korvel::Worker {

/** The key of a box in a page. */
const char* KeyOf(PageView::Box box);

/**
 * A box of the page in the coordinates of PDF, whose y goes up, so that the rectangle's bottom is
 * the highest.
 *
 * @param otherwise  what is answered where it has none
 */
QRectF BoxOf(QPDFPageObjectHelper& page, PageView::Box box, const QRectF& otherwise);

/** The media box, or what engines take for it where there is none. */
QRectF MediaBoxOf(QPDFPageObjectHelper& page);

/** By how many quarters the page says that it is turned clockwise, from 0 to 3. */
int TurnsOf(QPDFPageObjectHelper& page);

} // namespace Korvel::Worker
