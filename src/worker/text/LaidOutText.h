#pragma once

#include "TextPage.h"

#include <QByteArray>

namespace Korvel::Worker {

/**
 * A page as a typewriter would write it, columns beside each other: each line of it has what stands
 * at one height, with spaces so that words are above each other as on the page. UTF-8; empty for a
 * page without text. Wants the places of words.
 */
QByteArray LaidOutText(const TextPage& page);

} // namespace Korvel::Worker
