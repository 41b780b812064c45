#pragma once

namespace Korvel::Worker {

/** Of all measures the one that does not bind root. */
inline constexpr char processLimit[] = "process limit";

/** A way in which the process is kept from doing damage. */
struct Measure
{
    const char* name;
    bool isInForce;
};

} // namespace Korvel::Worker
