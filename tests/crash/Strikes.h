#pragma once

#include "Tracer.h"

#include <functional>
#include <string>
#include <vector>

namespace Korvel::Failing {

/** A fault of the system: which call fails, when, and how. */
struct Strike
{
    long call;
    /** The occurrence of the call that fails, from 1; 0 for every one. */
    int occurrence;
    /** Or Kill. */
    int error;
};

/** "unlink 1: Input/output error", for messages. */
std::string Describe(const Strike& strike);

/** Every error that a file system, a quota, a kernel or a sandbox answers with. */
const std::vector<int>& Errors();

/**
 * Of the calls that one undisturbed run has made: each of them fails alone, and every one of its
 * kind, in every way.
 */
std::vector<Strike> StrikesAt(const std::vector<long>& calls);

/** With each of these calls, its process ends before it has made it. */
std::vector<Strike> KillsAt(const std::vector<long>& calls);

/** Carries out a strike among the calls that it is asked about. */
class Striker
{
public:
    explicit Striker(const Strike& strike) : strike(strike) {}

    int operator()(const Call& call);

    /** What it has struck, the last where there were several; empty for nothing. */
    const std::string& Struck() const { return struck; }

private:
    const Strike strike;
    int seen = 0;
    std::string struck;
};

} // namespace Korvel::Failing
