#pragma once

#include "AbstractConverter.h"
#include "Failure.h"
#include "WorkerPdfProvider.h"

#include <QString>

namespace Korvel::App {

/** What to tell the user of a document that cannot be opened. */
Failure FailureOf(PDF::OpenFailure why);

/** The same of one of which there is no copy without encryption or damage. */
Failure FailureOf(PDF::SaveFailure why);

/** The same of one whose conversion has failed. */
Failure FailureOf(PDF::Converter::AbstractConverter::ErrorType error);

/**
 * The same where the machine keeps workers from being started, which is no document's fault.
 *
 * @param why  begins with "cannot start"
 */
Failure NotStartedFailure(const QString& why);

/** Whether a failure says so. */
bool IsOfMachine(const Failure& failure);

/** What to tell when standard output is closed, full, or read by nobody. */
Failure StandardOutputFailure();

/** The same of one whose result would meet a file that is to stay. */
Failure ExistsFailure(const QString& path);

} // namespace Korvel::App
