#pragma once

#include <QLoggingCategory>

namespace Korvel::PDF {

/** Where the services tell why something failed: category `korvel.services`. */
Q_DECLARE_LOGGING_CATEGORY(servicesLog)

} // namespace Korvel::PDF
