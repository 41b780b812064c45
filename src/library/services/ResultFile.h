#pragma once

#include "WorkerProtocol.h"

#include <optional>

#include <QString>

namespace Korvel::PDF {

/**
 * Why what lies at `path` cannot be the file that a worker says it has made: it is missing, empty
 * or no regular file, or it would run as its owner ("rubbish"); or it is larger than is allowed
 * ("too-large"). Nothing when it can.
 *
 * @param largest  MiB, which its bytes and what it takes on the disk are held against; 0 for any
 */
std::optional<WorkerProtocol::Reason> ProblemOfResult(const QString& path, int largest);

} // namespace Korvel::PDF
