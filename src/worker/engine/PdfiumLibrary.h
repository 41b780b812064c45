#pragma once

#include "Pdfium.h"

#include <optional>
#include <string>

namespace Korvel::Worker {

/** PDFium as it was found on this machine. */
struct PdfiumLibrary
{
    Pdfium functions;
    /** The file that it was loaded from. */
    std::string file;
};

/**
 * Loads PDFium for the rest of the process: from `path`, else from where the environment's
 * PDFCONVERT_PDFIUM or the build say, and where none is named from where the loader or LibreOffice
 * have it. It counts as missing where it lacks a function that we use, or draws a page wrong.
 *
 * @return nothing where there is none
 */
std::optional<PdfiumLibrary> LoadPdfium(const std::string& path);

} // namespace Korvel::Worker
