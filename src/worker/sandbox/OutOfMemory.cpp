#include "OutOfMemory.h"

#include "NewFile.h"
#include "NotStarted.h"
#include "ResourceLimits.h"
#include "Sanitizers.h"
#include "WorkerProtocol.h"

#include <cerrno>
#include <cstddef>
#include <new>

#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Korvel::Worker {

namespace {

/** Before that no document has been looked at, and none is to blame. */
bool isLimited = false;

} // namespace

bool LimitMemory(int mebibytes)
{
    isLimited = true;
    std::set_new_handler(EndForLackOfMemory); // for what comes by other ways than malloc
    return !IS_SANITIZED && LowerLimit(RLIMIT_AS, rlim_t(mebibytes) << 20);
}

void EndForLackOfMemory()
{
    if (!isLimited)
        EndAsNotStarted("there is too little memory");
    NewFile::RemoveUnfinished();
    _exit(WorkerProtocol::outOfMemoryExitCode);
}

} // namespace Korvel::Worker

#if !IS_SANITIZED

// All that the worker is made of calls these in place of those of the C library. Libraries take a
// lack of memory for something else: libqpdf saves an incomplete file as a success, others say that
// a picture cannot be written. Qt PDF takes its memory from mmap64 and aborts. ClearFreed.cpp
// builds realloc on these.

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
