#pragma once

#include <string>

namespace Korvel::App {

/** Whether and where what becomes of each document is written down. */
struct JournalOptions
{
    /** File to write it down in; empty for none. */
    std::string path;
    /** Convert also what the journal says has failed. */
    bool retriesFailed = false;
};

} // namespace Korvel::App
