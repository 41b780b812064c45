#pragma once

#include "Run.h"

#include <optional>
#include <vector>

namespace Korvel::Worker {

using Runs = std::vector<const Run*>;

/** The usual em of runs, that of most of their characters. */
double UsualEm(const Runs& runs);

/** Places that parts of a region may be parted at. */
struct Rivers
{
    /** Where most lines have a wide gap; nothing where hardly any has. */
    std::optional<double> widest;
    /** Where at least half as many have one, and no other line has text. */
    std::optional<double> empty;
};

Rivers FindRivers(const Runs& runs, double em);

} // namespace Korvel::Worker
