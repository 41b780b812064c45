#pragma once

#include <cstddef>

namespace Korvel::Worker {

/**
 * Writes all bytes where the file's offset is, in as many pieces as the system takes them.
 *
 * @param size  in bytes
 * @return whether all was written; where not, errno says why, and a part may have been
 */
bool WriteAll(int file, const void* data, std::size_t size);

} // namespace Korvel::Worker
