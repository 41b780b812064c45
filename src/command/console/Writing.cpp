#include "Writing.h"

#include "Interruption.h"

#include <algorithm>
#include <cerrno>
#include <climits>

#include <poll.h>
#include <unistd.h>

namespace Korvel::App {

bool WriteAll(int descriptor, const QByteArray& bytes, const Interruption& interruption)
{
    int written = 0;
    while (written < bytes.size()) {
        pollfd waits[] = {{descriptor, POLLOUT, 0}, {interruption.UrgentDescriptor(), POLLIN, 0}};
        if (::poll(waits, 2, -1) < 0 && errno != EINTR)
            return false;
        if (waits[1].revents != 0)
            return false;
        if (waits[0].revents == 0)
            continue;
        // No more than a pipe takes at once when it says that it takes something.
        const int size = std::min(bytes.size() - written, PIPE_BUF);
        const ssize_t done = ::write(descriptor, bytes.data() + written, std::size_t(size));
        if (done < 0 && errno != EINTR && errno != EAGAIN)
            return false;
        written += int(std::max<ssize_t>(done, 0));
    }
    return true;
}

} // namespace Korvel::App
