// All that a program is made of calls these in place of the C library's: memory is cleared before
// it is given back, so that passwords do not stay in it, whichever library has copied them.

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include <malloc.h>

#define REPLACES_LIBRARY extern "C" __attribute__((visibility("default")))

// NOLINTBEGIN(bugprone-reserved-identifier): the C library's own names
extern "C" void __libc_free(void* memory) noexcept;
extern "C" void* __libc_realloc(void* memory, std::size_t size) noexcept;
// NOLINTEND(bugprone-reserved-identifier)

namespace {

/** Blocks larger than this hold pictures and files; to clear them would only take time. */
constexpr std::size_t largestCleared = std::size_t(1) << 20;

void* MoveToNewBlock(void* old, std::size_t oldSize, std::size_t size)
{
    void* const memory = std::malloc(size);
    if (memory && old)
        std::memcpy(memory, old, std::min(oldSize, size));
    if (memory)
        std::free(old);
    return memory;
}

} // namespace

REPLACES_LIBRARY void free(void* memory) noexcept
{
    const std::size_t size = ::malloc_usable_size(memory);
    if (memory && size <= largestCleared)
        ::explicit_bzero(memory, size);
    __libc_free(memory);
}

REPLACES_LIBRARY void* realloc(void* old, std::size_t size) noexcept
{
    const std::size_t oldSize = ::malloc_usable_size(old);
    if (old && size == 0) {
        std::free(old);
        return nullptr;
    }
    void* const resized = oldSize > largestCleared ? __libc_realloc(old, size) : nullptr;
    // Where that was not enough either, malloc fails in its own way.
    return resized ? resized : MoveToNewBlock(old, oldSize, size);
}
