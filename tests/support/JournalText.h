#pragma once

#include <QByteArray>
#include <QList>

namespace Korvel::App {

/** The lines of a journal, the torn one at its end included, without line feeds. */
QList<QByteArray> LinesOf(const QByteArray& journal);

/** The lines as a file. */
QByteArray Joined(const QList<QByteArray>& lines);

/**
 * A journal as a run would have written it whose lines were these: each with the checksum of what
 * stands in it, all of them sealed.
 */
QByteArray Sealed(const QByteArray& journal);

} // namespace Korvel::App
