#pragma once

#include "EncryptionInfo.h"

#include <qpdf/QPDF.hh>

namespace Korvel::Worker {

/**
 * How an opened document was encrypted.
 *
 * @param neededPassword  whether it was opened by another password than the empty one
 */
PDF::EncryptionInfo DescribeEncryption(QPDF& pdf, bool neededPassword);

} // namespace Korvel::Worker
