#include "PageSize.h"

#include "DocumentDetails.h"

#include <algorithm>

namespace Korvel::PDF {

QSizeF PageSize(const DocumentDetails& details, int page)
{
    const auto size = std::find_if(details.sizes.begin(), details.sizes.end(),
                                   [page](const DocumentDetails::Size& row) {
                                       return row.pages.first <= page && page <= row.pages.last;
                                   });
    return size == details.sizes.end() ? QSizeF() : QSizeF(size->width, size->height);
}

} // namespace Korvel::PDF
