#pragma once

#include <optional>
#include <string>

#include <QString>

namespace Korvel {

/** Whether the bytes are UTF-8; a byte order mark may stand before them. */
bool IsUtf8(const std::string& bytes);

/**
 * The text of a path, which becomes the same bytes again. Null where there is none: bytes that are
 * no UTF-8, or that begin with a byte order mark, which QString takes off.
 */
QString ToPathText(const std::string& bytes);

/**
 * The bytes of a path, which become the same text again. Nothing where there are none: a lone
 * surrogate would become a question mark, and so the name of another file.
 */
std::optional<std::string> ToPathBytes(const QString& text);

/** The dot and what follows it at the end of a path; empty when its name has none. */
QString SuffixOf(const QString& path);

/** Whether the system would see another path than this one: it ends a path at a NUL. */
bool HoldsNul(const std::string& path);

} // namespace Korvel
