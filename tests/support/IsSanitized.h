#pragma once

#include "Sanitizers.h"

namespace Korvel::PDF::Test {

constexpr bool isSanitized = IS_SANITIZED != 0;

} // namespace Korvel::PDF::Test
