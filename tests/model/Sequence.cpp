#include "Sequence.h"

#include <algorithm>
#include <ostream>

namespace Korvel::PDF::Test {

namespace {

constexpr std::size_t linesAround = 5;

std::string ModelFolder(const std::string& folder)
{
    return folder + "/model";
}

std::string RealFolder(const std::string& folder)
{
    return folder + "/real";
}

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

} // namespace

void Sequence::Furnish(const std::string& folder)
{
    World::Furnish(ModelFolder(folder));
    World::Furnish(RealFolder(folder));
}

Sequence::Sequence(std::uint64_t randomSeed, const std::string& folder, std::ostream* log)
    : log(log),
      maker(randomSeed),
      beginning(maker.MakeBeginning()),
      model(ModelFolder(folder), beginning, MakeModelStack),
      real(RealFolder(folder), beginning, MakeRealStack)
{
}

bool Sequence::Run()
{
    if (log)
        *log << beginning.Describe() << std::flush;
    return TracesAgree() && PlayAll() && Probe() && End();
}

bool Sequence::PlayAll()
{
    for (std::size_t count = maker.MakeCount(); count > 0; --count)
        if (!Play(maker.Make(model.GivenTasks())))
            return false;
    return true;
}

bool Sequence::Play(const Operation& operation)
{
    operations.push_back(operation);
    if (log)
        *log << operation.Describe() << std::flush;
    model.Play(operation);
    real.Play(operation);
    return TracesAgree();
}

bool Sequence::Probe()
{
    for (const QString& source : KnownSources())
        for (const Operation& probe : OperationMaker::MakeProbes(source))
            if (!Play(probe))
                return false;
    return true;
}

bool Sequence::End()
{
    if (log)
        *log << "end\n" << std::flush;
    model.End();
    real.End();
    return TracesAgree();
}

std::set<QString> Sequence::KnownSources() const
{
    std::set<QString> sources;
    for (const Operation& operation : operations)
        if (operation.kind == Operation::Kind::Convert)
            sources.insert(operation.task.source);
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

bool Sequence::TracesAgree()
{
    const CallJournal& ofModel = model.Trace();
    const CallJournal& ofReal = real.Trace();
    while (agreed < ofModel.size() && agreed < ofReal.size() && ofModel[agreed] == ofReal[agreed])
        ++agreed;
    return agreed == ofModel.size() && agreed == ofReal.size();
}

void Sequence::Report(std::ostream& stream) const
{
    stream << beginning.Describe();
    for (const Operation& operation : operations)
        stream << operation.Describe();
    stream << "The traces differ in line " << agreed + 1 << ".\n";
    WriteAround(stream, "The model:", model.Trace(), agreed);
    WriteAround(stream, "The wrappers:", real.Trace(), agreed);
}

} // namespace Korvel::PDF::Test
