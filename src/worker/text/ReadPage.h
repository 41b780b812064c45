#pragma once

#include "PageEngine.h"
#include "TextPage.h"

namespace Korvel::Worker {

/**
 * Reads a page: its words, lines and paragraphs in reading order. Where the engine does not tell
 * where characters stand, the order is its own, and boxes are empty.
 *
 * @param page        from 0
 * @param wantsFonts  whether the names of fonts are wanted
 * @throws RequestError  "cannot-render"
 */
TextPage ReadPage(PageEngine& engine, int page, bool wantsFonts);

} // namespace Korvel::Worker
