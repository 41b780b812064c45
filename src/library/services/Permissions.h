#pragma once

namespace Korvel::PDF {

/**
 * What a document allows to whoever opens it without its owner password. Only a declaration: a
 * WorkerPdfProvider opens and saves the document all the same.
 */
struct Permissions
{
    /** Perhaps only coarsely. */
    bool print = false;
    /** As finely as the printer can. */
    bool printHighResolution = false;
    /** In other ways than by annotations, in forms, or page by page. */
    bool modify = false;
    /** To take text and pictures out. */
    bool copy = false;
    /** To add and change annotations. */
    bool annotate = false;
    /** To fill in the fields of forms. */
    bool fillForms = false;
    /** To copy for those who cannot see. */
    bool accessibility = false;
    /** To add, remove and turn pages. */
    bool assemble = false;
};

} // namespace Korvel::PDF
