#pragma once

#include "Run.h"

#include <optional>
#include <vector>

namespace Korvel::Worker {

using Runs = std::vector<const Run*>;

/** The usual em of runs, that of most of their characters. */
double UsualEm(const Runs& runs);

/** Where most lines of a region have a wide gap; nothing where hardly any has. */
std::optional<double> FindRiver(const Runs& runs, double em);

} // namespace Korvel::Worker
