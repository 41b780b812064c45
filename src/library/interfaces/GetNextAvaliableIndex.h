#pragma once

#include "ioPath.h"
#include "PDFFSUtilsExport.h"

#include <regex>
#include <string>

namespace Korvel::PDF::Util {

/**
 * The smallest number from 2 upwards that is free for a numbered copy of a file, such as the 3 of
 * report(3).pdf in a folder that holds report.pdf and report(2).pdf.
 *
 * Only entries whose name ends in "(digits).tail", the tail without a dot and possibly empty, can
 * take a number. Such an entry takes its number when `pattern` matches the whole name with that
 * number as capture group 1. It also takes it, whatever the pattern says, when the rest of its name
 * holds anything beyond ASCII letters, digits, blanks, "_" and "-": callers build the pattern from
 * a name without escaping it, so names such as `out(3)`, `[draft]` or `C++` are not described by
 * their own pattern. A number may thus be passed over that was free; one that is taken is never
 * answered. Numbers are compared as decimal text: no number is too long, and (07) does not take 7.
 *
 * Thread-safe. Files that other programs make after the folder was read are not known to it.
 *
 * @param folder   the folder to look through; one that cannot be read counts as empty
 * @param pattern  describes the numbered names, the number as capture group 1
 * @return the number in decimal digits. Throws nothing.
 */
PDFFSUTILS_EXPORT std::string GetNextAvaliableIndex(const ioPath& folder,
                                                    const std::regex& pattern) noexcept;

} // namespace Korvel::PDF::Util
