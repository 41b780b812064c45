#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace Korvel::App {

/** A script that completes the options of `table` in "bash", "zsh" or "fish". */
std::string ShellCompletion(const CLI::App& table, const std::string& shell);

} // namespace Korvel::App
