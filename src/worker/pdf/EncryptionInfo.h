#pragma once

#include <qpdf/QPDF.hh>

#include <QJsonObject>

namespace Korvel::Worker {

/**
 * What the answer to "open" tells of the encryption of an opened document.
 *
 * @param neededPassword  whether it was opened by another password than the empty one
 */
QJsonObject DescribeEncryption(QPDF& pdf, bool neededPassword);

} // namespace Korvel::Worker
