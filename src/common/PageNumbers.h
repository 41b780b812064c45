#pragma once

#include <vector>

#include <QString>

namespace Korvel {

/** Numbers of pages in their order, those without a gap as a range: "1-4, 7". */
QString PageNumbers(std::vector<int> pages);

/** What messages call pages: "page 3", or "pages 1-4, 7". */
QString NamedPages(const std::vector<int>& pages);

} // namespace Korvel
