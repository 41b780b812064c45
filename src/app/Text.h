#pragma once

#include <string>

#include <QString>

namespace Korvel::App {

/** Whether `bytes` are valid UTF-8, so that they can be a path here. */
bool IsUtf8(const std::string& bytes);

/** Bytes for a message: whatever is no printable ASCII as \xNN. */
std::string Escaped(const std::string& bytes);

/** The text with control characters as \xNN, so that it can neither move the cursor nor break a
 * line. */
QString WithoutControls(const QString& text);

/** Lines that the terminal cuts where its own end, as a line that wraps could not be erased. */
QString Unwrapped(const QString& lines);

} // namespace Korvel::App
