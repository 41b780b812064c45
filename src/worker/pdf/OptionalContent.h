#pragma once

#include <qpdf/QPDF.hh>

namespace Korvel::Worker {

/** Whether annotations belong to layers that are hidden. Qt PDF draws them all the same. */
bool HasHiddenAnnotations(QPDF& pdf);

/** Form fields, too. */
void RemoveHiddenAnnotations(QPDF& pdf);

} // namespace Korvel::Worker
