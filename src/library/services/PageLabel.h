#pragma once

#include "ConverterServicesExport.h"

#include <QString>

namespace Korvel::PDF {

struct DocumentDetails;

/**
 * What viewers show in place of a page's number: "iv", "A-1". The number itself where the document
 * says nothing of that page. Any thread.
 *
 * @param page  counted from 1
 */
CONVERTERSERVICES_EXPORT QString PageLabel(const DocumentDetails& details, int page);

} // namespace Korvel::PDF
