#pragma once

#include <qpdf/QPDF.hh>

namespace Korvel::Worker {

/** Whether annotations belong to hidden optional content. Engines draw them all the same. */
bool HasHiddenAnnotations(QPDF& pdf);

/** Removes annotations, form fields included, that belong to hidden optional content. */
void RemoveHiddenAnnotations(QPDF& pdf);

/** Whether pages draw hidden optional content. Engines do not show it, and read it all the same. */
bool HasHiddenContent(QPDF& pdf);

/**
 * Has what hidden optional content writes say nothing, and its forms not drawn. Pictures and lines
 * stay, which engines leave out themselves.
 */
void RemoveHiddenText(QPDF& pdf);

} // namespace Korvel::Worker
