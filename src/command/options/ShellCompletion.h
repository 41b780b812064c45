#pragma once

#include <string>

namespace Korvel::App {

/** A script that completes the options and words of pdfconvert in a shell: bash, zsh or fish. */
std::string ShellCompletion(const std::string& shell);

} // namespace Korvel::App
