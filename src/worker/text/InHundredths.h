#pragma once

#include <cmath>

namespace Korvel::Worker {

/** A number as people are told it, with two digits behind the point at most. */
inline double InHundredths(double number)
{
    constexpr double parts = 100;
    return std::round(number * parts) / parts;
}

} // namespace Korvel::Worker
