#pragma once

#include <string>

namespace Korvel::Worker {

/** What is to draw pages and to read their text. */
enum class EngineChoice {
    Auto, ///< PDFium's own interface where it can be had, else Qt PDF
    Pdfium,
    Qt
};

/** Which engine is wanted. */
struct EngineSettings
{
    EngineChoice choice = EngineChoice::Auto;
    /** The file of PDFium's library; empty for one that is looked for. */
    std::string library;
};

} // namespace Korvel::Worker
