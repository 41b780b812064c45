#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Korvel::PDF::Test {

/**
 * The calls that several fakes received, one line each, in the order in which they came.
 *
 * The fakes of one test share a journal, so that an order across services shows. Written to on the
 * test's thread only.
 */
using CallJournal = std::vector<std::string>;

/** The lines of `journal`, which is empty afterwards. */
inline CallJournal Take(CallJournal& journal)
{
    return std::exchange(journal, {});
}

} // namespace Korvel::PDF::Test
