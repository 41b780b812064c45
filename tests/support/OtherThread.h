#pragma once

#include <thread>

namespace Korvel::PDF::Test {

/** Runs `work` on a thread of its own and returns when it is done. */
template <typename Work>
void OnOtherThread(Work work)
{
    std::thread(std::move(work)).join();
}

} // namespace Korvel::PDF::Test
