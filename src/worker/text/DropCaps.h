#pragma once

#include "Run.h"

#include <vector>

namespace Korvel::Worker {

/** Puts large letters that begin paragraphs, beside several lines, to the line they begin. */
void JoinDropCaps(std::vector<Run>& runs);

} // namespace Korvel::Worker
