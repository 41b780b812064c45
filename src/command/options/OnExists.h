#pragma once

#include <array>

namespace Korvel::App {

/** What to do about a result whose path is taken. */
enum class OnExists {
    Number,   ///< give the result a number: page(2).png
    Fail,     ///< convert nothing of its document
    Skip,     ///< leave this result away
    Overwrite ///< replace the file
};

/** How the command line and journals call them, in their order. */
inline constexpr std::array<const char*, 4> onExistsWords{"number", "fail", "skip", "overwrite"};

} // namespace Korvel::App
