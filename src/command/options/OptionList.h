#pragma once

#include "Option.h"

#include <vector>

namespace Korvel::App {

/**
 * All options of pdfconvert that its help shows, in its order. What an option is read into, and
 * what its value has to be, stands in CommandLine.
 */
const std::vector<Option>& OptionList();

/** The options of pdfconvert report. */
const std::vector<Option>& ReportOptionList();

} // namespace Korvel::App
