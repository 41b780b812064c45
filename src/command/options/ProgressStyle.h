#pragma once

namespace Korvel::App {

/** How the progress of a conversion is shown on standard error. */
enum class ProgressStyle {
    Auto,  ///< a bar on a terminal, lines elsewhere
    Bar,   ///< one line that is drawn again and again
    Plain, ///< a line every few seconds
    Json,  ///< events for other programs, in place of all messages
    None
};

} // namespace Korvel::App
