#pragma once

#include <QByteArray>

namespace Korvel::App {

class Interruption;

/**
 * Writes all of it to a descriptor, however slowly that is read.
 *
 * @return false when it was not taken, or when a second signal came meanwhile
 */
bool WriteAll(int descriptor, const QByteArray& bytes, const Interruption& interruption);

} // namespace Korvel::App
