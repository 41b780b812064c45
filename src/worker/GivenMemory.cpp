#include "GivenMemory.h"

#include "RequestError.h"

#include <cstring>

#include <sys/socket.h>

namespace Korvel::Worker {

namespace {

PDF::FileDescriptor DescriptorOf(msghdr& message)
{
    int number = -1;
    const cmsghdr* const rights = CMSG_FIRSTHDR(&message);
    if (rights && rights->cmsg_type == SCM_RIGHTS && rights->cmsg_len == CMSG_LEN(sizeof number))
        std::memcpy(&number, CMSG_DATA(rights), sizeof number);
    return PDF::FileDescriptor(number);
}

} // namespace

PDF::FileDescriptor TakeMemory(int channel, qint64 request)
{
    for (;;) {
        qint64 sentFor = -1;
        alignas(cmsghdr) char rights[CMSG_SPACE(sizeof(int))] = {};
        iovec place = {&sentFor, sizeof sentFor};
        msghdr message = {};
        message.msg_iov = &place;
        message.msg_iovlen = 1;
        message.msg_control = rights;
        message.msg_controllen = sizeof rights;
        if (::recvmsg(channel, &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC) <= 0)
            throw RequestError(Reason::CannotWrite, "no memory was given for the picture");
        PDF::FileDescriptor memory = DescriptorOf(message);
        if (sentFor == request && memory)
            return memory;
    }
}

} // namespace Korvel::Worker
