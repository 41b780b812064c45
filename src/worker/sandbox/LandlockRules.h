#pragma once

#include <string>
#include <vector>

namespace Korvel::Worker {

/**
 * Leaves the process, for good, of all files those at `inputs` and the fonts to read, and the
 * folder to make, write and remove files in; not even those can be read there. Where the kernel
 * can, TCP and signals to other processes go as well.
 *
 * @param folder           empty for any
 * @param hasThreadOfPool  whether the thread of Qt's pool has been started; there is no other one
 * @return false where the kernel has no Landlock
 */
bool LimitFileAccess(const std::vector<std::string>& inputs, const std::string& folder,
                     bool hasThreadOfPool);

} // namespace Korvel::Worker
