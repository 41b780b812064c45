#pragma once

namespace Korvel::PDF::Test {

/**
 * How many paths were printed by ioPath's stream operator until now, the library's included: a
 * program that links this has an operator of its own, which prints them as they are.
 */
int PrintedPaths();

} // namespace Korvel::PDF::Test
