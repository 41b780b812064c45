#pragma once

#include "DocumentDetails.h"

#include <qpdf/QPDF.hh>

namespace Korvel::Worker {

/**
 * What is in an opened document, as far as it is not damaged. Reads the content of all pages.
 *
 * @throws std::bad_alloc
 */
PDF::DocumentDetails DescribeDetails(QPDF& pdf);

} // namespace Korvel::Worker
