#pragma once

#include <cstddef>
#include <string_view>

#include <qpdf/QPDF.hh>

namespace Korvel::Worker {

/** Whether a file begins as a PDF does; readers look for the header in the first kilobyte. */
bool HasHeader(std::string_view file);

/**
 * Whether libqpdf has read the structure of `file` without a complaint, and readers that trust it
 * more will see the same pages.
 */
bool IsSound(QPDF& pdf, std::string_view file);

/** Whether a file has nothing before the header of a PDF, and nothing but blanks behind its end. */
bool BeginsAndEndsAsPdf(std::string_view file);

/**
 * Whether the tree of pages lists more of them than `most`. Unlike libqpdf, which copies a page for
 * each time it is listed, this takes no memory for them.
 */
bool ListsMorePagesThan(QPDF& pdf, std::size_t most);

/** Makes the trailer have a size, as libqpdf tells the right one only where there is one. */
void MendTrailer(QPDF& pdf);

/** Leaves nothing but pages in the tree of pages, and makes it tell how many there are. */
void MendPages(QPDF& pdf);

} // namespace Korvel::Worker
