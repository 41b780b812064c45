#pragma once

#include "AbstractConverter.h"
#include "Failure.h"
#include "WorkerPdfProvider.h"

#include <QString>

namespace Korvel::App {

/** What to tell the user of a document that cannot be opened. */
Failure FailureOf(PDF::OpenFailure why);

/** What to tell the user of a document of which no copy without encryption or damage was made. */
Failure FailureOf(PDF::SaveFailure why);

/**
 * What to tell the user of a document whose conversion has failed.
 *
 * @param what  what of it could not be converted, such as "page 3"
 * @param isPicture  a lower resolution might help
 * @param why   the worker's reason; may be empty
 */
Failure FailureOf(PDF::Converter::AbstractConverter::ErrorType error, const std::string& what,
                  bool isPicture, const std::string& why = {});

/** What to tell the user of an encrypted document that a map of passwords does not name. */
Failure NoEntryFailure(const std::string& map);

/** What to tell the user of a document that somebody has changed since it was planned. */
Failure ChangedFailure();

/**
 * What to tell the user where the machine has too little of something for the command to start.
 *
 * @param why  begins with "cannot start"
 */
Failure LackFailure(const QString& why);

/**
 * What to tell the user where workers cannot be started, which is no document's fault: the machine
 * keeps them from it, or there is none. Needs a QCoreApplication.
 *
 * @param why  begins with "cannot start"
 */
Failure NotStartedFailure(const QString& why);

/**
 * What to tell the user where measures of the sandbox are missing that --require-sandbox wants.
 *
 * @param missing  what says which
 */
Failure UnconfinedFailure(const QString& missing);

/** Whether a failure says that the machine, and no document, is to blame. */
bool IsOfMachine(const Failure& failure);

/** What to tell the user when the worker program is not where it was installed. */
Failure BrokenInstallation();

/** What to tell the user when standard output is closed, full, or read by nobody. */
Failure StandardOutputFailure();

/** What to tell the user of a document whose result would meet a file that is to stay. */
Failure ExistsFailure(const QString& path);

} // namespace Korvel::App
