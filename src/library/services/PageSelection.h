#pragma once

#include "AbstractConverter.h"
#include "ConverterServicesExport.h"

#include <vector>

namespace Korvel::PDF::Converter {

/**
 * Which pages of a document are wanted.
 *
 *     const std::vector<int> pages = PageSelection{{3, 1}}.Of(10); // 3, 1
 */
struct CONVERTERSERVICES_EXPORT PageSelection
{
    /** From 1, in the order in which they are wanted; all when empty. */
    std::vector<int> pages = {};

    /**
     * The numbers of the pages.
     *
     * @param count  how many pages the document has
     * @throws OptionError  it has no such page
     */
    std::vector<int> Of(int count) const;

    /** Sets a task's option "pages"; takes it away where all are wanted. */
    void PutInto(AbstractConverter::Task& task) const;
};

} // namespace Korvel::PDF::Converter
