#include "FaultCourse.h"

#include "CopiedOption.h"

#include <algorithm>
#include <future>
#include <new>
#include <stdexcept>

namespace Korvel::PDF::Test {

namespace {

const std::string password = "secret";

std::string Join(const std::vector<std::string>& texts)
{
    std::string line;
    for (const std::string& text : texts)
        line += ' ' + text;
    return line;
}

const ConverterSignal& SignalNamed(const std::string& name)
{
    const auto& all = ConverterSignals();
    return *std::find_if(all.begin(), all.end(),
                         [&](const ConverterSignal& signal) { return signal.name == name; });
}

} // namespace

FaultCourse::FaultCourse(const Shape& shape, const Fault& fault, MakeStack& makeStack)
    : fault(fault),
      world(MakeFaultyWorld([this](Call call) { return Meet(call); },
                            [this](const Task& task) { Hear(task); })),
      stack(makeStack(world, shape, 30))
{
    for (const char* name : {"a", "b", "c", "another"})
        FakePdfProvider::MakeDocument(std::string("docs/") + name + ".pdf", password);
    stack->onReceived = [this](const std::string& line) {
        Write("received " + line);
    };
}

const CallJournal& FaultCourse::Run()
{
    DoAlways("build", [this] { Build(); });
    AskEverything();
    for (const char* name : {"a", "b"})
        DoUntilItIsDone(std::string("start ") + name, [&] { return Convert(name); });
    End("b", false);
    DoUntilItIsDone("start c", [this] { return Convert("c"); });
    End("c", true);
    LookForEntries();
    DoAlways("destroy", [this] { Destroy(); });
    return *world.trace;
}

/** Counts a call and lets it throw or call back; says how it is to end otherwise. */
Outcome FaultCourse::Meet(Call call)
{
    const int number = ++counts.at(std::size_t(call));
    if (call != fault.call || number != fault.number)
        return Outcome::Usual;
    Write(std::string(Name(call)) + ' ' + Name(fault.outcome));
    Perform(fault.outcome, Name(call));
    return fault.outcome;
}

void FaultCourse::Perform(Outcome outcome, const char* name)
{
    if (outcome == Outcome::Throws)
        throw std::runtime_error(name);
    if (outcome == Outcome::ThrowsWhatIsNoException)
        throw NoException();
    if (outcome == Outcome::ThrowsBadAlloc)
        throw std::bad_alloc();
    if (outcome == Outcome::StartsATask && isBuilt)
        Write(Convert("another") ? "another is started" : "another is refused");
    if (outcome == Outcome::EndsATask)
        Emit("Failed", told.empty() ? QStringLiteral("unknown") : told.front().source);
    if (outcome == Outcome::FinishesATask)
        FinishFirst();
}

void FaultCourse::Hear(const Task& task)
{
    told.push_back({task.type, task.source, task.destination, {}});
}

/** Writes how the step ended; whether it ended well. */
bool FaultCourse::Do(const std::string& step, const std::function<bool()>& work)
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
    WriteState();
    return isDone;
}

void FaultCourse::DoUntilItIsDone(const std::string& step, const std::function<bool()>& work)
{
    if (!Do(step, work))
        Do(step + " again", work);
}

void FaultCourse::DoAlways(const std::string& step, const std::function<void()>& work)
{
    DoUntilItIsDone(step, [&] {
        work();
        return true;
    });
}

void FaultCourse::Build()
{
    stack->Build();
    isBuilt = true;
}

void FaultCourse::AskEverything()
{
    for (int round = 0; round < 3; ++round) {
        Do("cancel", [this] { return stack->CancelConvertation(); });
        Do("formats", [this] { return HasFormats(); });
        Do("available", [this] { return stack->DoesServiceAvailable(); });
    }
}

bool FaultCourse::HasFormats()
{
    const Formats formats = stack->GetSupportedFormats();
    for (const auto& [from, to] : formats)
        Write(from.toStdString() + " to " + to.join(' ').toStdString());
    return !formats.empty();
}

bool FaultCourse::Convert(const std::string& name)
{
    const QString text = QString::fromStdString(name);
    Task task{text,
              "docs/" + text + ".pdf",
              "out/" + text + ".png",
              {{"need_export", true}, {"password", password}}};
    task.options.emplace("copied", CopiedOption([this] { Meet(Call::CopyTask); }));
    return stack->ConvertFile(task);
}

void FaultCourse::End(const std::string& name, bool withAList)
{
    const auto task = std::find_if(told.rbegin(), told.rend(), [&](const Task& one) {
        return one.type == QString::fromStdString(name);
    });
    if (task == told.rend())
        return;
    const Task ended = *task; // a service may start another task meanwhile
    DoAlways("progress of " + name, [&] { EmitProgress(ended.source); });
    QStringList results{ended.destination};
    if (withAList)
        results.push_back(ended.destination + "-2.png");
    for (const QString& result : results)
        Produce(result);
    const char* const signal = withAList ? "FinishedFiles" : "FinishedFile";
    DoAlways("end " + name, [&] { Emit(signal, ended.source, results); });
}

/** An entry shows in what the caller receives. The first task alone is still in flight then. */
void FaultCourse::LookForEntries()
{
    for (std::size_t number = 0; number < told.size(); ++number) {
        const Task one = told[number];
        DoAlways("once more about " + one.type.toStdString(), [&] {
            EmitProgress(one.source);
            if (number == 0)
                return;
            Emit("FinishedFile", one.source, {"late.png"});
            EmitProgress(one.source);
        });
    }
}

void FaultCourse::Destroy()
{
    isBuilt = false;
    world.GiveUpShares();
    stack->Destroy();
}

void FaultCourse::Produce(const QString& file)
{
    if (const auto fileSystem = files.lock())
        fileSystem->files[file.toStdString()] = "result";
}

void FaultCourse::Emit(const std::string& signal, const QString& source, const QStringList& results)
{
    stack->Emit({&SignalNamed(signal), source, results});
}

void FaultCourse::EmitProgress(const QString& source)
{
    for (const ConverterSignal& signal : ConverterSignals()) {
        if (!signal.endsTask)
            stack->Emit({&signal, source, {}});
    }
}

/** The first task, as a service or the innermost converter may do inside a call. */
void FaultCourse::FinishFirst()
{
    if (told.empty())
        return;
    const Task first = told.front();
    Produce(first.destination);
    Emit("FinishedFile", first.source, {first.destination});
}

/** Copies, results, folders and open documents. */
void FaultCourse::WriteState()
{
    Write("copies:" + Join(World::Copies()));
    if (const auto fileSystem = files.lock()) {
        std::vector<std::string> results;
        for (const auto& [path, content] : fileSystem->files)
            results.push_back(path);
        Write("files:" + Join(results));
        Write("folders:" + Join({fileSystem->folders.begin(), fileSystem->folders.end()}));
    }
    if (const auto provider = pdfs.lock())
        Write("open: " + std::to_string(provider->documents.size()));
}

} // namespace Korvel::PDF::Test
