#pragma once

#include <vector>

#include <linux/filter.h>

namespace Korvel::Worker {

/**
 * Leaves a process the system calls that converting a document takes: no network, no other program,
 * no other process, no further thread, no signal, no code that was not loaded before.
 */
class SeccompFilter
{
public:
    /**
     * Makes the filter, which takes longer than to load it.
     *
     * @param hasThreadOfPool  as in SandboxSettings
     * @param memoryChannel    likewise; the only socket that anything can be received by
     */
    SeccompFilter(bool hasThreadOfPool, int memoryChannel);

    /**
     * Puts the filter in force, for all threads of this process and for good.
     *
     * @return false where that cannot be: an old kernel, a build with a sanitizer
     */
    bool Load() const;

private:
    std::vector<sock_filter> program;
};

} // namespace Korvel::Worker
