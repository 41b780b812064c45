#include "FailingAllocation.h"

#include "IsSanitized.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include <dlfcn.h>
#include <execinfo.h>
#include <QtGlobal>

// Sanitizers need malloc for themselves, and lists of Qt 6 do not look whether they got anything.
#define FAILS_MALLOC (!IS_SANITIZED && QT_VERSION_MAJOR == 5)

namespace Korvel::PDF::Test {

namespace {

struct Allocations
{
    /** 0: none is to fail. */
    int number = 0;
    bool andAllThatFollow = false;
    int made = 0;
    bool isReached = false;
    int spared = 0;
    long blocks = 0;
};

thread_local Allocations allocations;

/**
 * QObject::connect, which is given a new slot object, loses that when an allocation of its own
 * fails: that is Qt's leak, and no caller can mend it.
 */
bool IsQtConnecting()
{
    const SparedAllocations spared;
    void* frames[8];
    const int count = ::backtrace(frames, 8);
    for (int number = 0; number < count; ++number) {
        Dl_info info;
        if (::dladdr(frames[number], &info) != 0 && info.dli_sname &&
            std::strstr(info.dli_sname, "QObjectPrivate11connectImpl"))
            return true;
    }
    return false;
}

bool IsToFail()
{
    if (allocations.number == 0 || allocations.spared > 0)
        return false;
    ++allocations.made;
    if (allocations.made < allocations.number ||
        (allocations.isReached && !allocations.andAllThatFollow))
        return false;
    allocations.isReached = true;
    return !IsQtConnecting();
}

template <typename Allocate>
void* Count(Allocate allocate)
{
    void* const block = IsToFail() ? nullptr : allocate();
    if (block)
        ++allocations.blocks;
    return block;
}

void CountFreed(const void* block)
{
    if (block)
        --allocations.blocks;
}

} // namespace

const bool failsMalloc = FAILS_MALLOC;

bool AreReplacedByValgrind()
{
    const char* const preloaded = std::getenv("LD_PRELOAD");
    if (!preloaded || !std::strstr(preloaded, "vgpreload"))
        return false;
    const long before = CountBlocks();
    const auto block = std::make_unique<int>();
    return CountBlocks() == before;
}

FailingAllocation::FailingAllocation(int number, bool andAllThatFollow)
{
    allocations.number = number;
    allocations.andAllThatFollow = andAllThatFollow;
    allocations.made = 0;
    allocations.isReached = false;
}

FailingAllocation::~FailingAllocation()
{
    allocations.number = 0;
}

bool FailingAllocation::IsReached() const
{
    return allocations.isReached;
}

int FailingAllocation::Made() const
{
    return allocations.made;
}

SparedAllocations::SparedAllocations()
{
    ++allocations.spared;
}

SparedAllocations::~SparedAllocations()
{
    --allocations.spared;
}

long CountBlocks()
{
    return allocations.blocks;
}

} // namespace Korvel::PDF::Test

using Korvel::PDF::Test::Count;
using Korvel::PDF::Test::CountFreed;
using Korvel::PDF::Test::IsToFail;

#if !FAILS_MALLOC

namespace {

void* Allocate(std::size_t size)
{
    return Count([size] { return std::malloc(size); });
}

void Free(void* block) noexcept
{
    CountFreed(block);
    std::free(block);
}

} // namespace

#else

namespace {

// The next malloc and not __libc_malloc, whose blocks Valgrind does not know.
template <typename Function>
Function* Next(const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {

void* malloc(std::size_t size) noexcept
{
    static const auto next = Next<void*(std::size_t)>("malloc");
    return Count([size] { return next(size); });
}

void* calloc(std::size_t count, std::size_t size) noexcept
{
    static const auto next = Next<void*(std::size_t, std::size_t)>("calloc");
    return Count([count, size] { return next(count, size); });
}

void* realloc(void* block, std::size_t size) noexcept
{
    static const auto next = Next<void*(void*, std::size_t)>("realloc");
    if (!block)
        return malloc(size);
    return IsToFail() ? nullptr : next(block, size);
}

void free(void* block) noexcept
{
    static const auto next = Next<void(void*)>("free");
    CountFreed(block);
    next(block);
}
}

namespace {

constexpr auto Allocate = malloc;
constexpr auto Free = free;

} // namespace

#endif

// In any case: Valgrind would else replace those of the C++ library, which call malloc.

void* operator new(std::size_t size)
{
    if (void* const block = Allocate(size > 0 ? size : 1))
        return block;
    throw std::bad_alloc();
}

void* operator new[](std::size_t size)
{
    return operator new(size);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return Allocate(size);
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return Allocate(size);
}

void operator delete(void* block) noexcept
{
    Free(block);
}

void operator delete[](void* block) noexcept
{
    Free(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    Free(block);
}

void operator delete[](void* block, std::size_t) noexcept
{
    Free(block);
}
