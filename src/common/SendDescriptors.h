#pragma once

#include "FileDescriptor.h"

#include <optional>
#include <vector>

#include <QtGlobal>

namespace Korvel {

/** What comes over a socket that keeps messages apart (SOCK_SEQPACKET). */
struct DescriptorMessage
{
    /** What the descriptors are for, as those who talk have agreed. */
    qint64 number;
    std::vector<PDF::FileDescriptor> descriptors;
};

/** Sends descriptors, a few at most, of which the caller keeps his; false when they do not go. */
bool SendDescriptors(int socket, qint64 number, const std::vector<int>& descriptors);

/** The next message, which is not waited for; nothing where there is none. */
std::optional<DescriptorMessage> ReceiveDescriptors(int socket);

} // namespace Korvel
