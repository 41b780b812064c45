#pragma once

#include "PageSelection.h"
#include "PictureOptions.h"
#include "TextOptions.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <QString>

namespace Korvel::PDF::Converter {

class OpenedDocument;

/**
 * What a PdfConverter is to make of a document, and where the results go. A plain value.
 *
 *     ConversionRequest request{"/docs/report.pdf", "/out/report.png"}; // report-1.png ...
 *     request.pages = {{1, 2, 3}};
 *     request.pictures.resolution = 72;
 *
 * No character of a path has a meaning: "%1" and "(a" are names as any others. A result whose name
 * is taken gets a numbered one, such as report-1(2).png; nothing is ever overwritten. Folders that
 * are missing are made. Relative paths are taken from the working folder, which stays as it is
 * while the conversion runs.
 */
struct ConversionRequest
{
    /** Path of the PDF. */
    QString document;

    /**
     * Path of the result. Where several pages become a picture each, their numbers go before its
     * suffix, in as many digits as the last page of the document has: report-01.png. Pages of a tif
     * become one file.
     */
    QString result = {};

    /**
     * The formats are "png", "jpg", "tif", "bmp", "webp", "txt", "json", "tsv", "hocr" and "pdf".
     * Empty for the suffix of the result.
     */
    QString format = {};

    /** The pages that are wanted. */
    PageSelection pages = {};

    /** How pictures are to look. An hocr counts in pixels of the resolution, too. */
    PictureOptions pictures = {};

    /** How words stand in a text of the format txt. */
    TextOptions text = {};

    /**
     * In place of `result`, the path of each page's result, whatever the format: so one can bear
     * the page's number wherever that is wanted. Called with the number, from 1, on a thread of the
     * converter's own.
     */
    std::function<QString(int page)> resultOfPage = {};

    /**
     * Called for the password of an encrypted document, with the number of the attempt, from 1,
     * until one opens it. Answers it in UTF-8, or nothing to give up; without this function that is
     * the answer. A PdfConversion calls it on its own thread, PdfConverter::Convert on another one;
     * it may take its time, and throws nothing.
     */
    std::function<std::optional<std::string>(int attempt)> askForPassword = {};

    /**
     * Whether results are handed over as bytes, in place of files: in ConversionResult::Page, and
     * by PdfConversion::PageMade. There are no paths then, and `format` has to be set. The bytes
     * stay as long as the result of the conversion does. Pictures of single pages come through
     * memory, and lie in no file; texts, PDFs and a TIFF of several pages lie for a moment in the
     * converter's private folder, as the worker makes them there.
     *
     * With the format "pixels", which is for this alone, pages are handed over as they were drawn,
     * in ConversionResult::Page::picture and by PdfConversion::PictureMade.
     */
    bool isInMemory = false;

    /**
     * Whether nothing is made of the document: it is opened, a password is asked for where it wants
     * one, and ConversionResult::opened is for further requests, such as for pages as they come
     * into view.
     */
    bool opensOnly = false;

    /**
     * The document as it was opened for an earlier request of the same converter; null to have it
     * opened. A conversion of one that is open begins before all others that wait, and before those
     * of its kind that were started earlier. Where the document is neither encrypted nor damaged,
     * it fails with `SourceChanged` once somebody has changed the file.
     */
    std::shared_ptr<const OpenedDocument> opened = nullptr;

    /** Whether a page that fails ends the conversion, in place of being left away. */
    bool endsAtBadPage = false;
};

} // namespace Korvel::PDF::Converter
