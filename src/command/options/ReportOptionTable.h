#pragma once

#include "ReportOptions.h"

#include <memory>

#include <CLI/CLI.hpp>

namespace Korvel::App {

/** The options of pdfconvert report, in the order of its help, which read into `options`. */
std::unique_ptr<CLI::App> MakeReportTable(ReportOptions& options);

} // namespace Korvel::App
