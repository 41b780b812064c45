#pragma once

namespace Korvel::App {

/** What to do about a result whose path is taken. */
enum class OnExists {
    Number,   ///< give the result a number: page(2).png
    Fail,     ///< convert nothing of its document
    Skip,     ///< leave this result away
    Overwrite ///< replace the file
};

} // namespace Korvel::App
