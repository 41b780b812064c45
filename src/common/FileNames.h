#pragma once

namespace Korvel {

/**
 * Lets a program name files in UTF-8 whatever the locale says, without a word of Qt about that.
 * Called before the application is made, by a single thread.
 */
void NameFilesInUtf8();

} // namespace Korvel
