#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include <QByteArray>

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

/** Everything that a descriptor gives up to its end; throws as ReadSome does. */
std::string ReadAll(int descriptor, const Interruption& interruption);

/** Calls `take` with the bytes of a file, "-" for standard input, as they come; throws likewise. */
void ReadBlocks(const std::string& file, const Interruption& interruption,
                const std::function<void(std::string_view)>& take);

/**
 * Calls `take` with each piece of a file, "-" for standard input, that ends with the separator or
 * with the file; throws as ReadSome does. Holds one piece at a time, however long the file is.
 */
void ReadPieces(const std::string& file, char separator, const Interruption& interruption,
                const std::function<void(std::string_view)>& take);

/** Everything in a file, "-" for standard input; throws as ReadSome does. */
std::string ReadAll(const std::string& file, const Interruption& interruption);

/**
 * Writes all of it to a descriptor, however slowly that is read.
 *
 * @return false when it was not taken, or when a second signal came meanwhile
 */
bool WriteAll(int descriptor, const QByteArray& bytes, const Interruption& interruption);

/** Writes what a descriptor takes without being waited for, a few lines at the most. */
void WriteAtOnce(int descriptor, const QByteArray& bytes);

} // namespace Korvel::App
