#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace Korvel::App {

/** The options of `table` as a page for man(1). */
std::string ManualPage(const CLI::App& table);

} // namespace Korvel::App
