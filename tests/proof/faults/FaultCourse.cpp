#include "FaultCourse.h"

#include <algorithm>
#include <future>
#include <new>
#include <ostream>
#include <stdexcept>

namespace Korvel::PDF::Test {

namespace {

const char* Name(Operation operation)
{
    switch (operation) {
    case Operation::GenerateFileName:
        return "GenerateFileName";
    case Operation::GetTempFolder:
        return "GetTempFolder";
    case Operation::RemoveFolder:
        return "RemoveFolder";
    case Operation::Exists:
        return "Exists";
    case Operation::Move:
        return "Move";
    case Operation::CreateFolder:
        return "CreateFolder";
    case Operation::OpenDocument:
        return "OpenDocument";
    case Operation::SaveDocument:
        return "SaveDocument";
    case Operation::CloseDocument:
        return "CloseDocument";
    case Operation::ConvertFile:
        return "ConvertFile";
    case Operation::CancelConvertation:
        return "CancelConvertation";
    case Operation::GetSupportedFormats:
        return "GetSupportedFormats";
    case Operation::DoesServiceAvailable:
        return "DoesServiceAvailable";
    case Operation::CopyTask:
        return "CopyTask";
    }
    return "";
}

const char* Name(Outcome outcome)
{
    switch (outcome) {
    case Outcome::Usual:
        return "Usual";
    case Outcome::Refuses:
        return "Refuses";
    case Outcome::Throws:
        return "Throws";
    case Outcome::ThrowsWhatIsNoException:
        return "ThrowsWhatIsNoException";
    case Outcome::ThrowsBadAlloc:
        return "ThrowsBadAlloc";
    case Outcome::HasNoState:
        return "HasNoState";
    case Outcome::BreaksItsPromise:
        return "BreaksItsPromise";
    case Outcome::HoldsAnException:
        return "HoldsAnException";
    case Outcome::IsReadyWhenWaitedFor:
        return "IsReadyWhenWaitedFor";
    case Outcome::IsReadyOnAThread:
        return "IsReadyOnAThread";
    case Outcome::StartsATask:
        return "StartsATask";
    case Outcome::EndsATask:
        return "EndsATask";
    case Outcome::FinishesATask:
        return "FinishesATask";
    }
    return "";
}

} // namespace

std::ostream& operator<<(std::ostream& stream, Operation operation)
{
    return stream << Name(operation);
}

std::ostream& operator<<(std::ostream& stream, Outcome outcome)
{
    return stream << Name(outcome);
}

Course::Course(const Fault& fault, std::shared_ptr<CallJournal> lines)
    : fault(fault),
      lines(std::move(lines)),
      calls(static_cast<std::size_t>(Operation::CopyTask) + 1)
{
}

int Course::CountCalls(Operation operation) const
{
    return calls.at(static_cast<std::size_t>(operation));
}

Outcome Course::Meet(Operation operation)
{
    const int call = ++calls.at(static_cast<std::size_t>(operation));
    if (operation != fault.operation || call != fault.call)
        return Outcome::Usual;
    Write(std::string(Name(operation)) + ' ' + Name(fault.outcome));
    switch (fault.outcome) {
    case Outcome::Throws:
        throw std::runtime_error(Name(operation));
    case Outcome::ThrowsWhatIsNoException:
        throw NoException();
    case Outcome::ThrowsBadAlloc:
        throw std::bad_alloc();
    case Outcome::StartsATask:
        if (isBuilt)
            Write(Convert("another") ? "another is started" : "another is refused");
        break;
    case Outcome::EndsATask:
        EmitFailed(told.empty() ? "unknown" : told.front().source);
        break;
    case Outcome::FinishesATask:
        Finish();
        break;
    default:
        break;
    }
    return fault.outcome;
}

void Course::RunThrough()
{
    DoUntilItIsDone("build", [this] {
        Construct();
        return true;
    });
    for (int round = 0; round < 3; ++round) {
        Do("cancel", [this] { return Cancel(); });
        Do("formats", [this] { return HasFormats(); });
        Do("available", [this] { return IsAvailable(); });
    }
    for (const char* name : {"a", "b"})
        DoUntilItIsDone(std::string("start ") + name, [&] { return Convert(name); });
    End("b", false);
    DoUntilItIsDone("start c", [this] { return Convert("c"); });
    End("c", true);
    LookForEntries();
    DoAlways("destroy", [this] { Destroy(); });
}

bool Course::Do(const std::string& step, const std::function<bool()>& work)
{
    Write("--- " + step);
    bool isDone = false;
    try {
        isDone = work();
        Write(isDone ? "true" : "false");
    } catch (const std::future_error& error) {
        Write("future_error: " + error.code().message());
    } catch (const std::bad_alloc&) {
        Write("bad_alloc");
    } catch (const std::runtime_error& error) {
        Write(std::string("runtime_error: ") + error.what());
    } catch (const NoException&) {
        Write("no exception");
    }
    Write(State());
    return isDone;
}

void Course::DoUntilItIsDone(const std::string& step, const std::function<bool()>& work)
{
    if (!Do(step, work))
        Do(step + " again", work);
}

void Course::DoAlways(const std::string& step, const std::function<void()>& work)
{
    DoUntilItIsDone(step, [&] {
        work();
        return true;
    });
}

void Course::End(const std::string& name, bool withAList)
{
    const auto task =
        std::find_if(told.rbegin(), told.rend(), [&](const Told& one) { return one.name == name; });
    if (task == told.rend())
        return;
    const Told ended = *task; // a service may start another task meanwhile
    DoAlways("progress of " + name, [&] { EmitProgress(ended.source); });
    const std::string second = ended.destination + "-2.png";
    Produce(ended.destination);
    if (withAList) {
        Produce(second);
        DoAlways("end " + name, [&] { EmitFinished(ended.source, {ended.destination, second}); });
    } else {
        DoAlways("end " + name, [&] { EmitFinished(ended.source, ended.destination); });
    }
}

/** The first task, as a service or the innermost converter may do inside a call. */
void Course::Finish()
{
    if (told.empty())
        return;
    const Told first = told.front();
    Produce(first.destination);
    EmitFinished(first.source, first.destination);
}

/** An entry shows in what the caller receives. The first task alone is still in flight then. */
void Course::LookForEntries()
{
    for (std::size_t number = 0; number < told.size(); ++number) {
        const Told one = told[number];
        DoAlways("once more about " + one.name, [&] {
            EmitProgress(one.source);
            if (number == 0)
                return;
            EmitFinished(one.source, std::string("late.png"));
            EmitProgress(one.source);
        });
    }
}

} // namespace Korvel::PDF::Test
