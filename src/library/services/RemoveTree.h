#pragma once

#include <string>

namespace Korvel::PDF {

/**
 * Removes the folder at `path` with everything inside it; links are removed, never followed. `path`
 * ends in no separator: a link with one behind it is the folder it points to.
 *
 * @return true when it is gone; the reason of a failure goes to the log. Throws nothing.
 */
bool RemoveTree(const std::string& path) noexcept;

/** Removes what lies in an open folder alike; nothing on the way goes by a path. */
bool RemoveContent(int folder) noexcept;

} // namespace Korvel::PDF
