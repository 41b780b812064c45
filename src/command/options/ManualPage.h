#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace Korvel::App {

/** The options of both tables, the command's own and that of its reports, as a page for man(1). */
std::string ManualPage(const CLI::App& table, const CLI::App& reportTable);

} // namespace Korvel::App
