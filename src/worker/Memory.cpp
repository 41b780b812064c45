#include "Memory.h"

#include "Limits.h"

#include <cerrno>
#include <cstddef>

#include <QThreadPool>

#include <malloc.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#ifndef __has_feature // Clang's way to ask
#define __has_feature(feature) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) ||                               \
    __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define LIMITS_MEMORY 0 // sanitizers reserve terabytes of address space and replace malloc
#else
#define LIMITS_MEMORY 1
#endif

namespace Korvel::Worker {

namespace {

constexpr int outOfMemoryExitCode = 77;

/** Qt converts pictures on threads of its pool, and would wait for ever for one without a stack. */
void StartThreadOfPool()
{
    mallopt(M_ARENA_MAX, 1); // a second one would take 64 MiB of the address space
    QThreadPool& pool = *QThreadPool::globalInstance();
    pool.setMaxThreadCount(1);
    pool.setExpiryTimeout(-1);
    pool.start([] {});
}

} // namespace

void LimitMemory(int mebibytes)
{
    StartThreadOfPool();
    if (LIMITS_MEMORY)
        LowerLimit(RLIMIT_AS, rlim_t(mebibytes) << 20);
}

void EndForLackOfMemory()
{
    _exit(outOfMemoryExitCode);
}

} // namespace Korvel::Worker

#if LIMITS_MEMORY

// In the place of those of the C library for all that the worker is made of. Libraries take a lack
// of memory for something else: libqpdf saves an incomplete file as a success, Qt writes a TIFF for
// ever, others say that a picture cannot be written. Qt PDF takes its memory from mmap64 and
// aborts. ClearFreed.cpp makes realloc of these.

#define REPLACES_LIBRARY extern "C" __attribute__((visibility("default")))

// NOLINTBEGIN(bugprone-reserved-identifier): the C library's own names
extern "C" void* __libc_malloc(std::size_t size) noexcept;
extern "C" void* __libc_calloc(std::size_t count, std::size_t size) noexcept;
// NOLINTEND(bugprone-reserved-identifier)

REPLACES_LIBRARY void* malloc(std::size_t size) noexcept
{
    void* const memory = __libc_malloc(size);
    if (!memory)
        Korvel::Worker::EndForLackOfMemory();
    return memory;
}

REPLACES_LIBRARY void* calloc(std::size_t count, std::size_t size) noexcept
{
    void* const memory = __libc_calloc(count, size);
    if (!memory)
        Korvel::Worker::EndForLackOfMemory();
    return memory;
}

REPLACES_LIBRARY void* mmap64(void* address, std::size_t size, int protection, int flags, int file,
                              off64_t offset) noexcept
{
    // NOLINTNEXTLINE(performance-no-int-to-ptr): what a system call answers is a number
    void* const memory = reinterpret_cast<void*>(
        ::syscall(SYS_mmap, address, size, protection, flags, file, offset));
    if (memory == MAP_FAILED && errno == ENOMEM)
        Korvel::Worker::EndForLackOfMemory();
    return memory;
}

#endif
