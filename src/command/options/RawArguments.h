#pragma once

#include <string>

namespace Korvel::App {

/** Why the arguments of main() can be neither options nor file names; empty when they can. */
std::string ProblemOfArguments(int argc, const char* const* argv);

/** Overwrites a password among the arguments, which the list of processes shows. */
void HidePassword(int argc, char** argv);

} // namespace Korvel::App
