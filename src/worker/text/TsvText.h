#pragma once

#include "TextPage.h"

#include <QByteArray>

namespace Korvel::Worker {

/**
 * A line for each word of a page, whose columns the TextFrame names: numbers from 1, points from
 * the top left, nothing in those that are not known.
 *
 * @param number  the page's, from 1
 */
QByteArray TsvText(const TextPage& page, qint64 number);

} // namespace Korvel::Worker
