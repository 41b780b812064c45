#pragma once

#include "TextPage.h"

#include <QByteArray>

namespace Korvel::Worker {

/**
 * A page as an object of JSON: its size, its blocks, their lines and their words, as
 * docs/text.schema.json describes them. Numbers are rounded to hundredths of a point.
 *
 * @param number  the page's, from 1
 */
QByteArray JsonText(const TextPage& page, qint64 number);

} // namespace Korvel::Worker
