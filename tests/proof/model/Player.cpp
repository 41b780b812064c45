#include "Player.h"

#include "CopiedOption.h"
#include "Futures.h"

#include <filesystem>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace Korvel::PDF::Test {

namespace {

template <typename T>
std::function<std::future<T>()> AnswerOf(PdfAnswer answer, T refusal)
{
    switch (answer) {
    case PdfAnswer::Refusal:
        return [=] {
            return Ready(refusal);
        };
    case PdfAnswer::Exception:
        return [] {
            return Throwing<T>(std::runtime_error("from a future"));
        };
    case PdfAnswer::NoState:
        return [] {
            return Stateless<T>();
        };
    case PdfAnswer::Proper:
        break;
    }
    return nullptr;
}

} // namespace

std::string Beginning::Describe() const
{
    std::ostringstream text;
    text << "stack, innermost first:";
    for (const Wrapper wrapper : shape)
        text << (wrapper == Wrapper::TempFile ? " TempFile" : " Unencrypt");
    text << "; verbosity " << verbosity << (keepsShares ? "" : "; has the only shares");
    for (const std::string& stem : stems)
        text << "; stem " << stem;
    for (const std::string& file : files)
        text << "; file " << file;
    for (const Emission& emission : lastEmissions)
        text << "; at last " << emission.signal->name;
    text << '\n';
    for (const Operation& operation : inServices)
        text << operation.Describe("in a service: ");
    Operation answer;
    answer.kind = Operation::Kind::Answer;
    answer.answers = answers;
    return text.str() + answer.Describe();
}

Player::Player(const Beginning& beginning, MakeStack& makeStack)
{
    for (const std::string& file : beginning.files)
        world.files->Add(file);
    world.names->given.assign(beginning.stems.begin(), beginning.stems.end());
    SetAnswers(beginning.answers);
    stack = makeStack(world, beginning.shape, beginning.verbosity);
    Hook(beginning);
    stack->Build();
    if (!beginning.keepsShares)
        world.GiveUpShares();
}

Player::~Player()
{
    // Where a difference came before the end, nobody listens any more.
    if (const auto innermost = converter.lock())
        innermost->onDestruction = nullptr;
    if (const auto provider = pdfs.lock())
        provider->onDestruction = nullptr;
    if (const auto fileSystem = files.lock())
        fileSystem->onRemoveFolder = fileSystem->onDestruction = nullptr;
}

void Player::Hook(const Beginning& beginning)
{
    stack->onReceived = [this](const std::string& line) {
        Received(line);
    };
    world.converter->onConvertFile = [this](const Task& task) {
        Given(task);
    };
    world.converter->onCancelConvertation = [this] {
        PerformNext(inConverter);
    };
    world.converter->onDestruction = [this, lastEmissions = beginning.lastEmissions] {
        for (const Emission& emission : lastEmissions)
            stack->Emit(emission);
    };
    // The outermost wrapper is the first to remove its folder, if it has one, and stands meanwhile.
    world.files->onRemoveFolder = [this, operations = beginning.inServices,
                                   mayCall =
                                       beginning.shape.back() == Wrapper::TempFile]() mutable {
        CallBack(operations, std::exchange(mayCall, false));
    };
    world.files->onDestruction =
        world.pdfs->onDestruction = [this, operations = beginning.inServices] {
            CallBack(operations, false);
        };
}

/** Services throw nothing. */
void Player::CallBack(const std::vector<Operation>& operations, bool mayCall)
{
    alive = mayCall;
    for (const Operation& operation : operations)
        CatchAll([&] { Perform(operation); });
    alive = false;
}

void Player::Play(const Operation& operation)
{
    inSlots.assign(operation.inSlots.begin(), operation.inSlots.end());
    inConverter.assign(operation.inConverter.begin(), operation.inConverter.end());
    CatchAll([&] { Perform(operation); });
    inSlots.clear();
    inConverter.clear();
}

void Player::End()
{
    Destroy();
    world.GiveUpShares();
    for (const std::string& copy : World::Copies()) {
        Write("left " + copy);
        std::filesystem::remove(copy);
    }
}

void Player::Received(const std::string& line)
{
    Write("received " + line);
    const bool endsTask = line.front() == 'F'; // Failed and the two Finished
    if (endsTask)
        for (const std::string& copy : World::Copies())
            Write("  there is " + copy);
    PerformNext(inSlots);
}

void Player::Given(const Task& task)
{
    givenTasks.push_back({task.type, task.source, task.destination, {}});
    Write("  " + DescribeOptions(task));
    PerformNext(inConverter);
}

void Player::PerformNext(std::deque<Operation>& operations)
{
    if (operations.empty())
        return;
    const Operation operation = std::move(operations.front());
    operations.pop_front();
    Perform(operation);
}

void Player::Perform(const Operation& operation)
{
    switch (operation.kind) {
    case Operation::Kind::Nothing:
        break;
    case Operation::Kind::Convert:
        Convert(operation);
        break;
    case Operation::Kind::Forward:
        Forward();
        break;
    case Operation::Kind::Emit:
        if (!converter.expired())
            stack->Emit(Prepare(operation));
        break;
    case Operation::Kind::EmitElsewhere:
        if (!converter.expired())
            stack->EmitElsewhere(Prepare(operation));
        break;
    case Operation::Kind::DeliverQueued:
        stack->DeliverQueued();
        break;
    case Operation::Kind::Answer:
        SetAnswers(operation.answers);
        break;
    case Operation::Kind::Throw:
        throw std::runtime_error("from whoever is called");
    case Operation::Kind::Destroy:
        Destroy();
        break;
    }
}

void Player::Convert(const Operation& operation)
{
    if (!alive)
        return;
    if (const auto generator = names.lock())
        generator->given.assign(operation.stems.begin(), operation.stems.end());
    Task task = operation.task;
    if (operation.failingCopy)
        task.options.emplace("copied", CopiedOption(TellOfCopies(*operation.failingCopy)));
    const bool started = stack->ConvertFile(task);
    Write(started ? "started" : "not started");
}

std::function<void()> Player::TellOfCopies(int failingCopy)
{
    return [this, failingCopy, count = std::make_shared<int>(0)] {
        Write("the task is copied");
        if (++*count == failingCopy)
            throw std::runtime_error("from a copy");
    };
}

void Player::Forward()
{
    if (!alive)
        return;
    Write("formats: " + std::to_string(stack->GetSupportedFormats().size()));
    Write("available: " + std::to_string(stack->DoesServiceAvailable()));
    const bool cancelled = stack->CancelConvertation(); // may destroy it
    Write("cancelled: " + std::to_string(cancelled));
}

Emission Player::Prepare(const Operation& operation)
{
    const Task last = givenTasks.empty() ? Task{} : givenTasks.back();
    Emission emission = operation.emission;
    if (emission.source.isNull())
        emission.source = last.source;
    for (QString& result : emission.results)
        if (result.isNull())
            result = last.destination;
    const auto fileSystem = files.lock();
    if (fileSystem && operation.resultsExist)
        for (const QString& result : emission.results)
            fileSystem->files.insert({result.toStdString(), "result"});
    return emission;
}

void Player::SetAnswers(const Answers& answers)
{
    if (const auto innermost = converter.lock()) {
        innermost->accepts = innermost->cancels = innermost->isAvailable = answers.accepts;
        if (!answers.accepts)
            innermost->formats = {{QStringLiteral("pdf"), {QStringLiteral("png")}}};
    }
    if (const auto fileSystem = files.lock()) {
        fileSystem->seesFiles = answers.seesFiles;
        fileSystem->createsFolders = answers.createsFolders;
        fileSystem->movesFiles = answers.movesFiles;
        fileSystem->removesFolders = answers.removesFolders;
    }
    if (const auto provider = pdfs.lock()) {
        provider->open = AnswerOf(answers.open, DocumentHandle{-1, 0});
        provider->save = AnswerOf(answers.save, false);
    }
}

void Player::Destroy()
{
    if (!alive)
        return;
    alive = false;
    // A stack that is being destroyed bears no more than being listened to.
    inSlots.clear();
    stack->Destroy();
}

void Player::CatchAll(const std::function<void()>& work)
{
    try {
        work();
    } catch (const std::bad_cast&) {
        Write("throws std::bad_cast");
    } catch (const std::regex_error&) {
        Write("throws std::regex_error");
    } catch (const std::future_error&) {
        Write("throws std::future_error");
    } catch (const std::exception& exception) {
        Write(std::string("throws ") + exception.what());
    }
}

} // namespace Korvel::PDF::Test
