#pragma once

#include <cstddef>
#include <string>

namespace Korvel::App {

class Interruption;

/**
 * Waits for bytes of a descriptor, and is ended by a signal.
 *
 * @return how many were read into `bytes`; 0 at the end
 * @throws std::system_error  they cannot be read
 * @throws Interrupted        a signal came meanwhile
 */
std::size_t ReadSome(int descriptor, char* bytes, std::size_t count,
                     const Interruption& interruption);

/** Everything up to the end; throws as ReadSome does. */
std::string ReadAll(int descriptor, const Interruption& interruption);

/** Everything in a file, "-" for standard input; throws as ReadSome does. */
std::string ReadAll(const std::string& file, const Interruption& interruption);

} // namespace Korvel::App
