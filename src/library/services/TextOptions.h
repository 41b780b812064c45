#pragma once

#include "ConverterServicesExport.h"
#include "PageSelection.h"

namespace Korvel::PDF::Converter {

/**
 * How the text of a document is wanted.
 *
 *     TextOptions options;
 *     options.pages = {{1, 2}};
 *     options.PutInto(task);
 */
struct CONVERTERSERVICES_EXPORT TextOptions
{
    /** The pages whose text is wanted. */
    PageSelection pages = {};

    /** Sets the options of a task by their names in WorkerConverter's documentation. */
    void PutInto(AbstractConverter::Task& task) const { pages.PutInto(task); }
};

} // namespace Korvel::PDF::Converter
