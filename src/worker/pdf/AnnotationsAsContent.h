#pragma once

#include <qpdf/QPDF.hh>

namespace Korvel::Worker {

// All of these throw std::exception: libqpdf's own.

/** Whether pages have form fields, also such as only they list. */
bool HasFields(QPDF& pdf);

/** Whether annotations other than form fields draw text. */
bool HasAnnotationsOfText(QPDF& pdf);

/** Makes form fields content of their pages, with the values that they lack appearances for. */
void MakeFieldsContent(QPDF& pdf);

/** Makes form fields content, and whatever annotations draw text. */
void MakeAnnotationsOfTextContent(QPDF& pdf);

} // namespace Korvel::Worker
