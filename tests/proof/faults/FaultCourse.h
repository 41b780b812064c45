#pragma once

#include "FaultyWorld.h"
#include "Stack.h"
#include "WorkingFolder.h"

namespace Korvel::PDF::Test {

/**
 * The life of a stack of wrappers, or of its model, in which one call goes wrong: it is built and
 * asked everything, has three tasks of which two end, and is destroyed.
 *
 * What happens becomes the trace, line by line: the calls, the records, what the caller receives,
 * and after every step what lies where. What was not started is tried once more.
 */
class FaultCourse
{
public:
    FaultCourse(const Shape& shape, const Fault& fault, MakeStack& makeStack);

    /** Runs it from the beginning to the end, once; its trace. */
    const CallJournal& Run();

    /** How often Run has met `call`. */
    int Count(Call call) const { return counts.at(std::size_t(call)); }

private:
    Q_DISABLE_COPY_MOVE(FaultCourse)

    Outcome Meet(Call call);
    void Perform(Outcome outcome, const char* name);
    void Hear(const Task& task);
    void Write(const std::string& line) { world.trace->push_back(line); }

    bool Do(const std::string& step, const std::function<bool()>& work);
    void DoUntilItIsDone(const std::string& step, const std::function<bool()>& work);
    void DoAlways(const std::string& step, const std::function<void()>& work);

    void Build();
    void AskEverything();
    bool HasFormats();
    bool Convert(const std::string& name);
    void End(const std::string& name, bool withAList);
    void LookForEntries();
    void Destroy();

    void Produce(const QString& file);
    void Emit(const std::string& signal, const QString& source, const QStringList& results = {});
    void EmitProgress(const QString& source);
    void FinishFirst();
    void WriteState();

    const WorkingFolder folder;
    const Fault fault;
    std::vector<int> counts = std::vector<int>(std::size_t(Call::CopyTask) + 1);
    World world;
    /** For the time in which the stack has the only shares. */
    const std::weak_ptr<FakeFileSystem> files = world.files;
    const std::weak_ptr<FakePdfProvider> pdfs = world.pdfs;
    const std::unique_ptr<Stack> stack;
    /** Services call the stack back only then. */
    bool isBuilt = false;
    /** The tasks that reached the innermost converter; the type is the name of each. */
    std::vector<Task> told;
};

} // namespace Korvel::PDF::Test
