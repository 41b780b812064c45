#pragma once

#include <array>

namespace Korvel::App {

/** How the progress of a conversion is shown on standard error. */
enum class ProgressStyle {
    Auto,  ///< a bar on a terminal, lines elsewhere
    Bar,   ///< one line that is drawn again and again
    Plain, ///< a line every few seconds
    Json,  ///< events for other programs, in place of all messages
    None   ///< no progress at all
};

/** How the command line calls them, in their order. */
inline constexpr std::array<const char*, 5> progressStyleWords{"auto", "bar", "plain", "json",
                                                               "none"};

} // namespace Korvel::App
