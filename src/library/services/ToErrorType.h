#pragma once

#include "AbstractConverter.h"
#include "OpenFailure.h"
#include "SaveFailure.h"
#include "WorkerProtocol.h"

namespace Korvel::PDF {

// What a worker's reason means to those who asked for a document to be opened, saved or converted.

OpenFailure ToOpenFailure(WorkerProtocol::Reason reason);
SaveFailure ToSaveFailure(WorkerProtocol::Reason reason);

namespace Converter {

AbstractConverter::ErrorType ToErrorType(WorkerProtocol::Reason reason);

/** What a conversion fails with whose document could not be opened, or copied, before. */
AbstractConverter::ErrorType ToErrorType(OpenFailure why);
AbstractConverter::ErrorType ToErrorType(SaveFailure why);

} // namespace Converter

} // namespace Korvel::PDF
