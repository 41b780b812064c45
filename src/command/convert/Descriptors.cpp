#include "Descriptors.h"

#include "FailureMessages.h"

#include <algorithm>

#include <sys/resource.h>

namespace Korvel::App {

void NeedDescriptors(int count)
{
    const auto needed = rlim_t(count);
    rlimit limit = {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= needed)
        return;
    limit.rlim_cur = std::min(limit.rlim_max, needed);
    ::setrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur < needed)
        throw LackFailure(
            QStringLiteral("cannot start: %1 files may be open at once, and it takes %2")
                .arg(limit.rlim_cur)
                .arg(count));
}

} // namespace Korvel::App
