#include "SendDescriptors.h"

#include <cstring>

#include <sys/socket.h>

namespace Korvel {

namespace {

constexpr std::size_t most = 8;

/** A message with room for a number and for descriptors. */
struct Packet
{
    Packet()
    {
        message.msg_iov = &place;
        message.msg_iovlen = 1;
        message.msg_control = rights;
        message.msg_controllen = sizeof rights;
    }

    Packet(const Packet&) = delete;
    Packet& operator=(const Packet&) = delete;

    qint64 number = -1;
    alignas(cmsghdr) char rights[CMSG_SPACE(most * sizeof(int))] = {};
    iovec place = {&number, sizeof number};
    msghdr message = {};
};

std::vector<PDF::FileDescriptor> DescriptorsOf(msghdr& message)
{
    std::vector<PDF::FileDescriptor> descriptors;
    const cmsghdr* const rights = CMSG_FIRSTHDR(&message);
    if (!rights || rights->cmsg_type != SCM_RIGHTS)
        return descriptors;
    int numbers[most] = {};
    const std::size_t count = (rights->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    std::memcpy(numbers, CMSG_DATA(rights), count * sizeof(int));
    for (std::size_t i = 0; i < count; ++i)
        descriptors.emplace_back(numbers[i]);
    return descriptors;
}

} // namespace

bool SendDescriptors(int socket, qint64 number, const std::vector<int>& descriptors)
{
    const std::size_t bytes = descriptors.size() * sizeof(int);
    Packet packet;
    packet.number = number;
    packet.message.msg_controllen = CMSG_SPACE(bytes);
    cmsghdr* const header = CMSG_FIRSTHDR(&packet.message);
    if (!header || descriptors.size() > most)
        return false;
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(bytes);
    std::memcpy(CMSG_DATA(header), descriptors.data(), bytes);
    return ::sendmsg(socket, &packet.message, MSG_NOSIGNAL | MSG_DONTWAIT) == sizeof packet.number;
}

std::optional<DescriptorMessage> ReceiveDescriptors(int socket)
{
    Packet packet;
    if (::recvmsg(socket, &packet.message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC) <= 0)
        return std::nullopt;
    return DescriptorMessage{packet.number, DescriptorsOf(packet.message)};
}

} // namespace Korvel
