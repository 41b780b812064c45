#pragma once

namespace Korvel::Worker {

/** What a PNG is made for. */
enum class Compression {
    Fast, ///< quickly made, and a little larger
    Small ///< about a quarter smaller, and several times slower
};

} // namespace Korvel::Worker
