#pragma once

#include "AbstractConverter.h"
#include "ConverterServicesExport.h"
#include "OpenFailure.h"

#include <QString>

namespace Korvel::PDF {

/**
 * What to tell people of a document that could not be opened, in English: the rest of a sentence
 * that begins with the document's name, such as "needs a password".
 *
 *     qWarning() << file << ToText(provider.WhyOpenFailed(file));
 *
 * A value that is none of the enumeration is called an unknown reason. Thread-safe.
 */
CONVERTERSERVICES_EXPORT QString ToText(OpenFailure failure);

namespace Converter {

/**
 * What to tell people of a task that has failed, in English: the rest of a sentence that begins
 * with the name of the document or page, such as "took longer than it was given".
 *
 * A value that is none of the enumeration is told by its number. Thread-safe.
 */
CONVERTERSERVICES_EXPORT QString ToText(AbstractConverter::ErrorType error);

} // namespace Converter

} // namespace Korvel::PDF
