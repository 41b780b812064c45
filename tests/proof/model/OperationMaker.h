#pragma once

#include "Player.h"

#include <iterator>
#include <random>

namespace Korvel::PDF::Test {

/** Makes random operations; the same ones for the same random seed, whatever the compiler. */
class OperationMaker
{
public:
    explicit OperationMaker(std::uint64_t randomSeed);

    Beginning MakeBeginning();
    std::size_t MakeCount();

    /** `given` is what the innermost converter was given until now. */
    Operation Make(const std::vector<Task>& given);

    /** Operations that show whether there is an entry for `source`, and end it. */
    static std::vector<Operation> MakeProbes(const QString& source);

private:
    using Kind = Operation::Kind;

    /** A number below `count`. */
    std::size_t Pick(std::size_t count) { return std::size_t(engine() % count); }
    bool Chance(std::size_t percent) { return Pick(100) < percent; }

    template <typename Values>
    auto PickFrom(const Values& values)
    {
        const std::size_t index = Pick(std::size_t(std::size(values)));
        return *std::next(std::begin(values), std::ptrdiff_t(index));
    }

    Operation MakeKind(Kind kind, const std::vector<Task>& given);
    Operation MakeConvert();
    Operation MakeEmission(Kind kind, const std::vector<Task>& given);
    /** Half of the emissions are about `source`. */
    std::vector<Operation> MakeInside(const std::vector<Kind>& kinds, const QString& source,
                                      const std::vector<Task>& given);
    Task MakeTask();
    std::vector<std::string> MakeStems();
    std::string MakeRepeatedStem();
    QString MakeSource(const std::vector<Task>& given);
    QStringList MakeResults(const ConverterSignal& signal, const QString& destination);
    Answers MakeAnswers();

    std::mt19937_64 engine;
};

} // namespace Korvel::PDF::Test
