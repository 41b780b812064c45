#pragma once

namespace Korvel::Worker {

/** A way in which the process is kept from doing damage. */
struct Measure
{
    const char* name;
    bool isInForce;
};

} // namespace Korvel::Worker
