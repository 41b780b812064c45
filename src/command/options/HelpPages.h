#pragma once

#include <string>

namespace Korvel::App {

/** What pdfconvert --help prints. */
std::string HelpPage();

/** What pdfconvert report --help prints. */
std::string ReportHelpPage();

/** The manual page for man(1): what both help pages say. */
std::string ManualPage();

} // namespace Korvel::App
