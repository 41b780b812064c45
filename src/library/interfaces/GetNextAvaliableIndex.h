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
 * Only entries named "head(digits).tail", the tail without a dot and possibly empty, can take a
 * number. All that share head and tail are judged as one, by the number 2: they take their numbers
 * when `pattern` matches the whole of "head(2).tail" with that 2 as capture group 1. They also do,
 * whatever the pattern says, when head or tail holds anything beyond ASCII letters, digits, blanks,
 * "_" and "-": callers build the pattern from a name without escaping it, so names such as
 * `out(3)`, `[draft]` or `C++` are not described by their own pattern. A number may thus be passed
 * over that was free; one that is taken is never answered, as long as the pattern treats all
 * numbers alike. No number is too long, and (07) does not take 7.
 *
 * A folder that is there may refuse to be listed: it may not be read, or no descriptor or memory is
 * left. Nor can each name be asked for, since a pattern does not give away the name that it was
 * built from. The answer is a random number of fifteen digits then, another one each time: no file
 * of a sane folder has it, while a small one may well be taken.
 *
 * Thread-safe. Files that other programs make after the folder was read are not known to it.
 *
 * @param folder   the folder to look through; one that is not there counts as empty
 * @param pattern  describes the numbered names, whatever their number, with it as capture group 1
 * @return the number in decimal digits. Throws nothing.
 */
PDFFSUTILS_EXPORT std::string GetNextAvaliableIndex(const ioPath& folder,
                                                    const std::regex& pattern);

} // namespace Korvel::PDF::Util
