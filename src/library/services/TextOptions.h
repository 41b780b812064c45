#pragma once

#include "AbstractConverter.h"
#include "ConverterServicesExport.h"

namespace Korvel::PDF::Converter {

/**
 * How the words of a document stand in a text of the format txt: the options of a WorkerConverter's
 * task by their types.
 *
 *     TextOptions options;
 *     options.isLaidOut = true;
 *     options.PutInto(task);
 */
struct CONVERTERSERVICES_EXPORT TextOptions
{
    /** Whether words that are parted at the end of a line are put together. */
    bool dehyphenates = true;

    /**
     * Whether words are kept where they stand on the page, as a typewriter would have them, and
     * parted where they are. Wants PDFium, as Qt PDF does not tell where words stand.
     */
    bool isLaidOut = false;

    /** Sets the options of a task; those that are not set here stay as they are there. */
    void PutInto(AbstractConverter::Task& task) const;
};

} // namespace Korvel::PDF::Converter
