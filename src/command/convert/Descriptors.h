#pragma once

namespace Korvel::App {

/**
 * Makes sure that this process may have so many files open, by raising its limit where it may.
 *
 * @throws Failure  Internal: it may not
 */
void NeedDescriptors(int count);

} // namespace Korvel::App
