#pragma once

#include "PageView.h"

#include <string>

#include <qpdf/QPDF.hh>

namespace Korvel::Worker {

/**
 * Has all pages of a document shown in a way: their crop boxes and rotations become others. Where
 * nothing of a page is left, its crop box lies outside of its media box.
 *
 * @throws std::exception  libqpdf's own
 */
void ShowPages(QPDF& pdf, const PageView& view);

/** Why there is nothing to see of a page. */
std::string WhyNothingIsShown(const PageView& view);

} // namespace Korvel::Worker
