#pragma once

#include "TextPage.h"

#include <QByteArray>

namespace Korvel::Worker {

/**
 * A page as hOCR 1.2 has it, the paragraphs, lines and words as elements of XHTML whose titles tell
 * where they stand. Wants the places of words.
 *
 * @param number       the page's, from 1
 * @param dotsPerInch  of the picture whose pixels are counted
 */
QByteArray HocrText(const TextPage& page, qint64 number, double dotsPerInch);

} // namespace Korvel::Worker
