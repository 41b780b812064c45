#pragma once

#include "Operation.h"
#include "Stack.h"

#include <deque>

namespace Korvel::PDF::Test {

/** What a stack is made of and lives with from its beginning. */
struct Beginning
{
    std::string Describe() const;

    Shape shape;
    int verbosity = 30;
    /** Whether the caller keeps shares of the converter and the services, or the stack alone. */
    bool keepsShares = true;
    /** The first stems of the name generator. */
    std::vector<std::string> stems;
    Answers answers;
    /** Files that are there before anything is moved. */
    std::vector<std::string> files;
    /** What the innermost converter emits from its destructor. */
    std::vector<Emission> lastEmissions;
    /** What services do when a folder is removed, and from their destructors emit. */
    std::vector<Operation> inServices;
};

/** Lets operations happen to one stack in the working folder, and keeps the trace. */
class Player
{
public:
    Player(const Beginning& beginning, MakeStack& makeStack);
    ~Player();

    void Play(const Operation& operation);

    /** The caller gives everything up. The working folder is as it was before. */
    void End();

    /** Every task that the innermost converter was given. */
    const std::vector<Task>& GivenTasks() const { return givenTasks; }

    const CallJournal& Trace() const { return *trace; }

private:
    Q_DISABLE_COPY_MOVE(Player)

    void Hook(const Beginning& beginning);
    void CallBack(const std::vector<Operation>& operations, bool mayCall);
    void Received(const std::string& line);
    void Given(const Task& task);
    void Perform(const Operation& operation);
    void PerformNext(std::deque<Operation>& operations);
    void Convert(const Operation& operation);
    std::function<void()> TellOfCopies(int failingCopy);
    void Forward();
    Emission Prepare(const Operation& operation);
    void SetAnswers(const Answers& answers);
    void Destroy();
    void CatchAll(const std::function<void()>& work);
    void Write(const std::string& line) { trace->push_back(line); }

    World world;
    const std::shared_ptr<CallJournal> trace = world.trace;
    /** For the time in which the stack has the only shares. */
    const std::weak_ptr<FakeNameGenerator> names = world.names;
    const std::weak_ptr<FakePdfProvider> pdfs = world.pdfs;
    const std::weak_ptr<NumberedFiles> files = world.files;
    const std::weak_ptr<FakeConverter> converter = world.converter;
    std::unique_ptr<Stack> stack;
    /** Whether the caller, or a service called by it, may call the outermost wrapper. */
    bool alive = true;
    std::vector<Task> givenTasks;
    std::deque<Operation> inSlots;
    std::deque<Operation> inConverter;
};

} // namespace Korvel::PDF::Test
