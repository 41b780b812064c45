#include "Sequence.h"

#include <algorithm>
#include <ostream>

namespace Korvel::PDF::Test {

namespace {

constexpr std::size_t linesAround = 5;

void WriteAround(std::ostream& stream, const char* title, const CallJournal& trace, std::size_t at)
{
    stream << title << '\n';
    const std::size_t first = at - std::min(at, linesAround);
    const std::size_t end = std::min(trace.size(), at + linesAround + 1);
    for (std::size_t i = first; i < end; ++i)
        stream << (i == at ? "> " : "  ") << trace[i] << '\n';
    if (at >= trace.size())
        stream << "> (nothing)\n";
}

void AddCallersSources(const std::vector<Operation>& operations, std::set<QString>& sources)
{
    for (const Operation& operation : operations) {
        if (operation.kind == Operation::Kind::Convert)
            sources.insert(operation.task.source);
        AddCallersSources(operation.inSlots, sources);
        AddCallersSources(operation.inConverter, sources);
    }
}

} // namespace

Sequence::Sequence(std::uint64_t randomSeed, std::ostream* log)
    : log(log),
      maker(randomSeed),
      beginning(maker.MakeBeginning()),
      model(beginning, MakeModelStack)
{
}

bool Sequence::Run()
{
    RunModel();
    return RunReal();
}

void Sequence::RunModel()
{
    EndModelsStep();
    for (std::size_t count = maker.MakeCount(); count > 0; --count)
        PlayModel(maker.Make(model.GivenTasks()));
    for (const QString& source : KnownSources())
        for (const Operation& probe : OperationMaker::MakeProbes(source))
            PlayModel(probe);
    model.End();
    EndModelsStep();
}

void Sequence::PlayModel(const Operation& operation)
{
    model.Play(operation);
    operations.push_back(operation);
    EndModelsStep();
}

void Sequence::EndModelsStep()
{
    lengths.push_back(model.Trace().size());
}

std::set<QString> Sequence::KnownSources() const
{
    std::set<QString> sources;
    AddCallersSources(operations, sources);
    for (const Task& task : model.GivenTasks())
        sources.insert(task.source);
    // Copies that a wrapper further out made do not reach the innermost converter.
    const std::string save = "SaveDocument ";
    const std::string to = " to ";
    for (const std::string& line : model.Trace())
        if (line.compare(0, save.size(), save) == 0)
            sources.insert(QString::fromStdString(line.substr(line.find(to) + to.size())));
    return sources;
}

bool Sequence::RunReal()
{
    if (log)
        *log << beginning.Describe();
    real.emplace(beginning, MakeRealStack);
    if (!RealAgrees())
        return false;
    for (const Operation& operation : operations) {
        if (log)
            *log << operation.Describe() << std::flush;
        real->Play(operation);
        if (!RealAgrees())
            return false;
    }
    real->End();
    return RealAgrees();
}

bool Sequence::RealAgrees()
{
    const CallJournal& expected = model.Trace();
    const CallJournal& trace = real->Trace();
    const std::size_t length = lengths[steps++];
    const std::size_t before = agreed;
    while (agreed < std::min(length, trace.size()) && expected[agreed] == trace[agreed])
        ++agreed;
    for (std::size_t i = before; log && i < trace.size(); ++i)
        *log << "  " << trace[i] << '\n';
    return agreed == length && agreed == trace.size();
}

void Sequence::Report(std::ostream& stream) const
{
    stream << beginning.Describe();
    for (std::size_t i = 0; i + 1 < std::min(steps, lengths.size() - 1); ++i)
        stream << operations[i].Describe();
    if (steps == lengths.size())
        stream << "end\n";
    stream << "The traces differ in line " << agreed + 1 << ".\n";
    WriteAround(stream, "The model:", model.Trace(), agreed);
    WriteAround(stream, "The wrappers:", real->Trace(), agreed);
}

} // namespace Korvel::PDF::Test
