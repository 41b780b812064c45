#pragma once

#include "TextPage.h"

#include <QByteArray>

namespace Korvel::Worker {

/**
 * The words of a page with spaces between them, its lines ended by line feeds, paragraphs parted by
 * an empty line; no other control character is in it. UTF-8; empty for a page without text.
 *
 * @param dehyphenates  whether a word that is parted at the end of a line is put together. Its
 *                      hyphen is left away where the page has the word without it elsewhere. It
 *                      stays where the page has the word with it, where the word has another one,
 *                      in addresses, beside a digit, and before a capital letter unless the word
 *                      is of capitals.
 */
QByteArray PlainText(const TextPage& page, bool dehyphenates);

} // namespace Korvel::Worker
