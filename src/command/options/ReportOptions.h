#pragma once

#include <string>
#include <vector>

namespace Korvel::App {

/** Which journals to add up, and how to tell what they come to. */
struct ReportOptions
{
    std::vector<std::string> journals;
    /** Print JSON in place of text. */
    bool json = false;
    /** Hold the files on the disk against the journals. */
    bool verifies = false;
    /** Print again whenever they grow, until all is done. */
    bool follows = false;
};

} // namespace Korvel::App
