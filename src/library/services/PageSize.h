#pragma once

#include "ConverterServicesExport.h"

#include <QSizeF>

namespace Korvel::PDF {

struct DocumentDetails;

/**
 * The size of a page as it is shown, turned, in points, of which an inch has 72. Not valid where
 * the document does not tell. Any thread.
 *
 * @param details  what the document tells of itself
 * @param page     counted from 1
 */
CONVERTERSERVICES_EXPORT QSizeF PageSize(const DocumentDetails& details, int page);

} // namespace Korvel::PDF
