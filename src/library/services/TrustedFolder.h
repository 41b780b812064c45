#pragma once

#include "FileDescriptor.h"

#include <string>

namespace Korvel::PDF {

/**
 * A folder that nobody but root and this user can put another one in the place of, held by a
 * descriptor (O_PATH).
 *
 * Every folder of its path, from the root on, belongs to root or to this user and is writable by
 * nobody else, unless it has the sticky bit; every link on the way belongs to them, too. A group
 * counts as somebody else unless it is root's or bears this user's name, and has no other member.
 * In a user namespace root's files may have an owner whom the namespace does not map, which is
 * taken for root.
 */
struct TrustedFolder
{
    FileDescriptor folder = FileDescriptor();
    /** Absolute, free of links and without a trailing separator, but for the root. */
    std::string path = {};

    /**
     * @param path   a relative one is taken from the working folder
     * @param error  receives the reason when the folder of the answer is none
     * @throws std::bad_alloc
     */
    static TrustedFolder Open(const std::string& path, std::string& error);
};

} // namespace Korvel::PDF
