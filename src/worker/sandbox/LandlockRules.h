#pragma once

#include <string>

namespace Korvel::Worker {

/**
 * Leaves the process, for good, of all files the one at `input` and the fonts to read, and the
 * folder to make, write and remove files in; not even those can be read there. Where the kernel
 * can, TCP and signals to other processes go as well.
 *
 * The thread of Qt's pool has been started, and there is no other one.
 *
 * @param folder  empty for any
 * @return false where the kernel has no Landlock
 */
bool LimitFileAccess(const std::string& input, const std::string& folder);

} // namespace Korvel::Worker
