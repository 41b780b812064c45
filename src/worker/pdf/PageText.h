#pragma once

#include "PageEngine.h"

namespace Korvel::Worker {

/**
 * A page's text in the order in which it is read: from top to bottom, and one column after the
 * other from left to right, whatever order it is drawn in. Lines of which neither comes first by
 * that, and all lines of a page with very many, stay as they are drawn.
 *
 * @param index  of the page, from 0
 * @return lines, ended by line feeds
 */
QString TextInReadingOrder(PageEngine& engine, int index);

} // namespace Korvel::Worker
