#pragma once

namespace Korvel::PDF {

/** By what workers draw pages and read their text. */
enum class DrawingEngine {
    Auto,   ///< PDFium where its library can be had, else Qt PDF
    Pdfium, ///< PDFium's own interface; without its library no worker starts
    Qt      ///< Qt PDF
};

} // namespace Korvel::PDF
