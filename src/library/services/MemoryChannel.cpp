#include "MemoryChannel.h"

#include "WorkerProtocol.h"

#include <cstring>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Korvel::PDF {

namespace {

std::array<int, 2> MakeEnds()
{
    std::array<int, 2> ends = {-1, -1};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) == 0)
        ::shutdown(ends[0], SHUT_RD);
    return ends;
}

} // namespace

MemoryChannel::MemoryChannel() : MemoryChannel(MakeEnds()) {}

MemoryChannel::MemoryChannel(const std::array<int, 2>& ends) : ours(ends[0]), theirs(ends[1]) {}

void MemoryChannel::LetInherit() const
{
    if (theirs)
        ::fcntl(theirs.Number(), F_SETFD, 0);
}

QStringList MemoryChannel::Arguments() const
{
    if (!theirs)
        return {};
    return {WorkerProtocol::Argument::memoryChannel, QString::number(theirs.Number())};
}

void MemoryChannel::CloseEndOfWorker()
{
    if (theirs)
        ::close(theirs.Release());
}

void MemoryChannel::Send(qint64 request, int memory) const
{
    alignas(cmsghdr) char rights[CMSG_SPACE(sizeof memory)] = {};
    iovec place = {&request, sizeof request};
    msghdr message = {};
    message.msg_iov = &place;
    message.msg_iovlen = 1;
    message.msg_control = rights;
    message.msg_controllen = sizeof rights;
    cmsghdr& header = *CMSG_FIRSTHDR(&message);
    header.cmsg_level = SOL_SOCKET;
    header.cmsg_type = SCM_RIGHTS;
    header.cmsg_len = CMSG_LEN(sizeof memory);
    std::memcpy(CMSG_DATA(&header), &memory, sizeof memory);
    ::sendmsg(ours.Number(), &message, MSG_NOSIGNAL | MSG_DONTWAIT);
}

} // namespace Korvel::PDF
