#pragma once

#include "OperationMaker.h"
#include "Player.h"

#include <iosfwd>
#include <set>

namespace Korvel::PDF::Test {

/** Random operations on a stack of wrappers and on its model, whose traces have to agree. */
class Sequence
{
public:
    /** Makes the folders in which sequences run, in a folder that is still empty. */
    static void Furnish(const std::string& folder);

    /**
     * @param folder  furnished; a sequence leaves it as it was
     * @param log     where operations are written before they happen; may be null
     */
    Sequence(std::uint64_t randomSeed, const std::string& folder, std::ostream* log);

    /** Whether the traces agree; ends at the first difference. */
    bool Run();

    /** Writes the operations so far, and the traces around their first difference. */
    void Report(std::ostream& stream) const;

private:
    bool PlayAll();
    bool Play(const Operation& operation);
    bool Probe();
    bool End();
    std::set<QString> KnownSources() const;
    bool TracesAgree();

    std::ostream* const log;
    OperationMaker maker;
    const Beginning beginning;
    Player model;
    Player real;
    std::vector<Operation> operations;
    /** How many lines of both traces are known to agree. */
    std::size_t agreed = 0;
};

} // namespace Korvel::PDF::Test
