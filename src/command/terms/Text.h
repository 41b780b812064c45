#pragma once

#include <string>
#include <string_view>

#include <QString>

namespace Korvel::App {

/** Whether `bytes` begin with a byte order mark, which QString takes off. */
bool HasMark(std::string_view bytes);

/** The bytes behind a byte order mark; all of them without one. */
std::string_view WithoutMark(std::string_view bytes);

/** The bytes for a message, with \xNN for whatever is no printable ASCII. */
std::string Escaped(const std::string& bytes);

/** The text with control characters as \xNN, so that it can neither move the cursor nor break a
 * line. */
QString WithoutControls(const QString& text);

} // namespace Korvel::App
