#pragma once

#include "TextLook.h"
#include "TextPage.h"

#include <QByteArray>

namespace Korvel::Worker {

/** Whether a text of this kind tells where words stand. */
bool NeedsPlaces(const TextLook& look);

/** Whether it tells the fonts of words. */
bool NeedsFonts(const TextLook& look);

/**
 * The text of a page, as UTF-8, without what stands around pages and between them.
 *
 * @param number  the page's, from 1
 */
QByteArray PageText(const TextPage& page, qint64 number, const TextLook& look);

} // namespace Korvel::Worker
