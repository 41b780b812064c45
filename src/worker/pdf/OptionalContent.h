#pragma once

#include <qpdf/QPDF.hh>

namespace Korvel::Worker {

/** Whether annotations belong to hidden optional content. Qt PDF draws them all the same. */
bool HasHiddenAnnotations(QPDF& pdf);

/** Removes annotations, form fields included, that belong to hidden optional content. */
void RemoveHiddenAnnotations(QPDF& pdf);

} // namespace Korvel::Worker
