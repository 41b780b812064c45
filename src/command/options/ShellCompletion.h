#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace Korvel::App {

/** A script that completes the options of both tables, the command's own and that of its reports,
 * in "bash", "zsh" or "fish". */
std::string ShellCompletion(const CLI::App& table, const CLI::App& reportTable,
                            const std::string& shell);

} // namespace Korvel::App
