#pragma once

#include "CoreIntExport.h"

#include <iosfwd>
#include <string>

namespace Korvel {

/**
 * One file-system path, exchanged as UTF-8 text.
 *
 * A plain value: copying it copies the text and touches no file. The text is kept as it was given;
 * nothing is normalised, and "/" separates its parts.
 *
 *     Korvel::ioPath path;
 *     path = name.toUtf8().constData();
 */
class COREINT_EXPORT ioPath
{
public:
    /** An empty path. */
    ioPath() = default;

    /** The path whose text is `utf8`. */
    ioPath(const std::string& utf8);

    /** Replaces the path by the NUL-terminated text `utf8`; a null pointer gives the empty path. */
    ioPath& operator=(const char* utf8);

    /** The path's text as UTF-8. */
    std::string utf8string() const;

    /**
     * Deletes the file at `path`; a symbolic link is deleted itself, not what it points to.
     *
     * @return true when the file was deleted; false when there was none, when it is a folder, when
     *         the text is empty or holds a NUL, or when the system refused. Throws nothing.
     */
    static bool remove(const ioPath& path);

private:
    friend COREINT_EXPORT std::ostream& operator<<(std::ostream& stream, const ioPath& path);

    std::string text;
};

/** Writes the path's text, as it is, to `stream`; allocates nothing itself. */
COREINT_EXPORT std::ostream& operator<<(std::ostream& stream, const ioPath& path);

} // namespace Korvel
