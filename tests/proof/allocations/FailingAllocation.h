#pragma once

namespace Korvel::PDF::Test {

/** Whether malloc's allocations fail, too; otherwise operator new's only. */
extern const bool failsMalloc;

/**
 * Whether Valgrind has replaced all of these functions by its own, which never fail. It leaves them
 * alone when it is given --soname-synonyms=somalloc=nouserintercepts.
 */
bool AreReplacedByValgrind();

/**
 * Lets one allocation of this thread fail, as long as it lives: the one of that number from now on,
 * and if wanted all that follow. Those that QObject::connect makes itself do not fail.
 *
 * A program that links this has allocation functions of its own: malloc's family, by which Qt
 * allocates too. Where a sanitizer needs that for itself, and with Qt 6, which would not survive,
 * it has operator new and delete only.
 */
class FailingAllocation
{
public:
    FailingAllocation(int number, bool andAllThatFollow);
    ~FailingAllocation();

    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;

    /** Whether that many allocations have been made. */
    bool IsReached() const;

    /** How many have been made, those that failed included. */
    int Made() const;
};

/** Allocations of this thread succeed and do not count as long as it lives: the test's own. */
class SparedAllocations
{
public:
    SparedAllocations();
    ~SparedAllocations();

    SparedAllocations(const SparedAllocations&) = delete;
    SparedAllocations& operator=(const SparedAllocations&) = delete;
};

/** How many blocks this thread holds, give and take what it got from and gave to others. */
long CountBlocks();

} // namespace Korvel::PDF::Test
