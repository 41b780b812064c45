#pragma once

#include "CallJournal.h"

#include <functional>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace Korvel::PDF::Test {

/** What the wrappers call: of the services, of the converter around which they are, of the task. */
enum class Operation {
    GenerateFileName,
    GetTempFolder,
    RemoveFolder,
    Exists,
    Move,
    CreateFolder,
    OpenDocument,
    SaveDocument,
    CloseDocument,
    ConvertFile,
    CancelConvertation,
    GetSupportedFormats,
    DoesServiceAvailable,
    CopyTask ///< of the task, by a wrapper that hands it on changed
};

/** How a call may end. All but the slow answers and the re-entrant calls leave its work undone. */
enum class Outcome {
    Usual,
    Refuses, ///< answers false, -1 or nothing; of Exists: the opposite of what is so
    Throws,
    ThrowsWhatIsNoException,
    ThrowsBadAlloc,
    HasNoState,
    BreaksItsPromise,
    HoldsAnException,
    IsReadyWhenWaitedFor,
    IsReadyOnAThread,
    StartsATask,
    EndsATask,
    FinishesATask
};

std::ostream& operator<<(std::ostream& stream, Operation operation);
std::ostream& operator<<(std::ostream& stream, Outcome outcome);

/** One call that does not end as usual. */
struct Fault
{
    Operation operation;
    Outcome outcome;
    /** Which call of the operation it is; 1 is the first, none is 0. */
    int call;
};

/** What a service throws that does not know std::exception. */
struct NoException
{
};

/**
 * The life of a stack of wrappers in which one call goes wrong: it is built and asked everything,
 * has three tasks of which two end, and is destroyed.
 *
 * What happens is written into the journal, line by line: the calls, the records, what the caller
 * receives, and after every step what lies where. What was not started is tried once more.
 */
class Course
{
public:
    Course(const Fault& fault, std::shared_ptr<CallJournal> lines);
    virtual ~Course() = default;

    Course(const Course&) = delete;
    Course& operator=(const Course&) = delete;

    void RunThrough();

    /** How often RunThrough has called `operation`. */
    int CountCalls(Operation operation) const;

protected:
    /** A task as it reached the innermost converter. */
    struct Told
    {
        std::string name;
        std::string source;
        std::string destination;
    };

    virtual void Construct() = 0;
    virtual bool Convert(const std::string& name) = 0;
    virtual bool Cancel() = 0;
    virtual bool HasFormats() = 0;
    virtual bool IsAvailable() = 0;
    virtual void Destroy() = 0;

    /** The innermost converter writes a result, or emits. */
    virtual void Produce(const std::string& file) = 0;
    virtual void EmitProgress(const std::string& source) = 0;
    virtual void EmitFailed(const std::string& source) = 0;
    virtual void EmitFinished(const std::string& source, const std::string& file) = 0;
    virtual void EmitFinished(const std::string& source, const std::vector<std::string>& files) = 0;

    /** What lies where: copies, results, folders and open documents. */
    virtual std::string State() = 0;

    /** Counts a call and lets it throw or call back; says how it is to end otherwise. */
    Outcome Meet(Operation operation);

    void Write(const std::string& line) { lines->push_back(line); }

    /** What the innermost converter was told; services call the stack back only when it is built.
     */
    std::vector<Told> told;
    bool isBuilt = false;

private:
    /** Writes how the step ended; whether it ended well. */
    bool Do(const std::string& step, const std::function<bool()>& work);
    void DoUntilItIsDone(const std::string& step, const std::function<bool()>& work);
    void DoAlways(const std::string& step, const std::function<void()>& work);
    void End(const std::string& name, bool withAList);
    void Finish();
    void LookForEntries();

    const Fault fault;
    const std::shared_ptr<CallJournal> lines;
    std::vector<int> calls;
};

} // namespace Korvel::PDF::Test
