#pragma once

#include "OperationMaker.h"
#include "Player.h"

#include <iosfwd>
#include <optional>
#include <set>

namespace Korvel::PDF::Test {

/**
 * Random operations that happen to a model first and to the real wrappers then. The traces of both
 * have to agree.
 */
class Sequence
{
public:
    /**
     * `log` is where operations are written before they happen to the wrappers, and what then
     * happens; may be null.
     */
    Sequence(std::uint64_t randomSeed, std::ostream* log);

    /** Whether the traces agree; ends at the first difference. */
    bool Run();

    /** Writes the operations until the first difference, and the traces around it. */
    void Report(std::ostream& stream) const;

private:
    void RunModel();
    void PlayModel(const Operation& operation);
    void EndModelsStep();
    std::set<QString> KnownSources() const;

    bool RunReal();
    bool RealAgrees();

    std::ostream* const log;
    OperationMaker maker;
    const Beginning beginning;
    Player model;
    std::vector<Operation> operations;
    /** How long the model's trace was after the beginning, each operation and the end. */
    std::vector<std::size_t> lengths;
    std::optional<Player> real;
    /** How many of the lengths the real trace has reached. */
    std::size_t steps = 0;
    /** How many lines of both traces agree. */
    std::size_t agreed = 0;
};

} // namespace Korvel::PDF::Test
