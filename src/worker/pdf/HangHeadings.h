#pragma once

#include <vector>

#include <qpdf/QPDF.hh>

namespace Korvel::Worker {

/** Deeper headings are cut off: only damaged and hostile documents have them. */
inline constexpr int deepestHeading = 64;

/** A copy of a heading that hangs nowhere, and has none below it. */
QPDFObjectHandle LooseHeading(QPDF& pdf, QPDFObjectHandle heading);

/** Puts loose headings in a row below another one, or below the list of all. */
void HangHeadings(const std::vector<QPDFObjectHandle>& headings, QPDFObjectHandle above,
                  bool isOpen);

/** Whether the headings below one are seen, and not folded away. */
bool IsOpenHeading(const QPDFObjectHandle& heading);

} // namespace Korvel::Worker
