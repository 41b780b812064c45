#include "ServicesLog.h"

namespace Korvel::PDF {

Q_LOGGING_CATEGORY(servicesLog, "korvel.services", QtInfoMsg)

} // namespace Korvel::PDF
