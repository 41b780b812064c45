#pragma once

#include "IsSanitized.h"

#include <algorithm>
#include <cstdlib>

namespace Korvel::Failing {

/**
 * Of all that could be tried, every which one is: `inCtest`, or what FAILING_STRIDE says. 1 tries
 * everything, which takes a good part of an hour.
 */
inline int Stride(int inCtest)
{
    const char* const wanted = std::getenv("FAILING_STRIDE");
    if (wanted)
        return std::max(std::atoi(wanted), 1);
    return PDF::Test::isSanitized ? 10 * inCtest : inCtest;
}

} // namespace Korvel::Failing
