#pragma once

#include "AbstractConverter.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <QCoreApplication>
#include <QFileInfo>
#include <QObject>
#include <QTimer>

namespace Korvel::PDF::TestKit {

/** The converter that ConverterContract checks, and tasks for it. */
class ConverterFixture : public testing::Test
{
public:
    /** What is checked. */
    using AbstractConverter = Converter::AbstractConverter;
    /** What it is given. */
    using Task = AbstractConverter::Task;

    /** A new converter, whose last share is given away. */
    virtual std::shared_ptr<AbstractConverter> MakeConverter() = 0;

    /**
     * A task that a converter with nothing in hand accepts and that succeeds. Every one has a
     * source and a destination of its own.
     */
    virtual Task SucceedingTask() = 0;

    /** A task that is accepted and then fails, if there is such a thing. */
    virtual std::optional<Task> FailingTask() { return std::nullopt; }

    /** A task that is refused, if there is such a thing. */
    virtual std::optional<Task> RefusedTask() { return std::nullopt; }

    /** Whether results are paths of files. */
    virtual bool ResultsAreFiles() const { return true; }

    /** How long the end of any one task is waited for before it counts as missing. */
    virtual std::chrono::milliseconds Patience() const { return std::chrono::minutes(1); }
};

/** A converter with the tasks that it was given, and the signals that it answered with. */
class ConverterRun
{
public:
    /** What is checked. */
    using AbstractConverter = Converter::AbstractConverter;
    /** What it is given. */
    using Task = AbstractConverter::Task;

    /** Takes a new converter of the fixture, and receives all its signals. */
    explicit ConverterRun(ConverterFixture& fixture)
        : converter(fixture.MakeConverter()), patience(fixture.Patience())
    {
        using C = AbstractConverter;
        Receive("UploadProgress", &C::UploadProgress);
        Receive("DownloadProgress", &C::DownloadProgress);
        Receive("ConvertationStarted", &C::ConvertationStarted);
        Receive("ConvertationProgress", &C::ConvertationProgress);
        Receive("ConvertationFinished", &C::ConvertationFinished);
        Receive("Failed", &C::Failed);
        Receive("Finished", qOverload<const QString&, QString>(&C::Finished));
        Receive("Finished", qOverload<const QString&, QStringList>(&C::Finished));
    }

    /** The converter, until Destroy. */
    AbstractConverter& Object() { return *converter; }

    /** ConvertFile's answer. */
    bool Start(const Task& task)
    {
        given.insert(task.source);
        return converter->ConvertFile(task);
    }

    /** Gives the converter a task that it must accept; its source. */
    QString StartAccepted(const Task& task)
    {
        EXPECT_EQ(given.count(task.source), 0U)
            << "The fixture must give every task a source of its own, not again \""
            << task.source.toStdString() << '"';
        EXPECT_TRUE(Start(task))
            << "ConvertFile must answer true for a task that it starts, source \""
            << task.source.toStdString() << '"';
        return task.source;
    }

    /** Runs the event loop until the task has ended, or for as long as the fixture has patience. */
    void WaitForEnd(const QString& source)
    {
        WaitUntil([&] { return CountEnds(source) > 0; });
    }

    /** Runs the event loop until `isDone` says so, or for as long as the fixture has patience. */
    void WaitUntil(const std::function<bool()>& isDone)
    {
        QTimer deadline;
        deadline.setSingleShot(true);
        deadline.start(patience);
        while (!isDone() && deadline.isActive())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }

    /**
     * Calls a function from every slot that the signal has here, once it is noted down.
     *
     * @param name  such as "ConvertationStarted"; "Finished" is both
     * @param act   called with the source
     */
    void InSlotOf(const std::string& name, std::function<void(const QString&)> act)
    {
        actions[name] = std::move(act);
    }

    /** Gives the converter away in the middle of its work, as a receiver may. */
    void Delete() { converter.reset(); }

    /** Gives the converter a task that it must accept, and waits for its end. */
    void Convert(const Task& task) { WaitForEnd(StartAccepted(task)); }

    /** Destroys the converter and handles what it has left to the event loop. */
    void Destroy()
    {
        const std::weak_ptr<AbstractConverter> share = converter;
        converter.reset();
        EXPECT_TRUE(share.expired()) << "MakeConverter must give the last share away";
        QCoreApplication::processEvents();
    }

    /** How many terminal signals the task has had. */
    int CountEnds(const QString& source) const { return CountSignals(source, IsEnd); }

    /** Fails the running test unless the task has ended exactly once. */
    void ExpectOneEnd(const QString& source) const
    {
        EXPECT_EQ(CountEnds(source), 1)
            << "A task that was accepted must end by exactly one Finished or Failed. Received for "
            << Describe(source);
    }

    /** Fails the running test if the task has ended. */
    void ExpectNoEnd(const QString& source) const
    {
        EXPECT_EQ(CountEnds(source), 0)
            << "No terminal signal must follow for a task that was refused. Received for "
            << Describe(source);
    }

    /** Fails the running test unless the task has ended by one Finished. */
    void ExpectSuccess(const QString& source) const
    {
        EXPECT_EQ(CountSignals(source, [](const Signal& s) { return s.name == "Finished"; }), 1)
            << "A task that succeeds must end by one Finished. Received for " << Describe(source);
    }

    /** Fails the running test unless the task has ended by one Failed. */
    void ExpectFailure(const QString& source) const
    {
        EXPECT_EQ(CountSignals(source, [](const Signal& s) { return s.name == "Failed"; }), 1)
            << "A task that fails must end by one Failed. Received for " << Describe(source);
    }

    /** Fails the running test unless the task, which succeeds, was told of before it ended. */
    void ExpectStart(const QString& source) const
    {
        const auto first =
            std::find_if(received.begin(), received.end(), [&](const Signal& signal) {
                return signal.source == source &&
                       (IsEnd(signal) || signal.name == "ConvertationStarted");
            });
        EXPECT_TRUE(first != received.end() && first->name == "ConvertationStarted")
            << "ConvertationStarted must come before the end of a task that succeeds. Received for "
            << Describe(source);
    }

    /** Fails the running test if a signal came after the task's terminal one. */
    void ExpectNothingAfterTheEnd(const QString& source) const
    {
        const auto end = std::find_if(received.begin(), received.end(), [&](const Signal& signal) {
            return signal.source == source && IsEnd(signal);
        });
        EXPECT_TRUE(end == received.end() ||
                    std::none_of(end + 1, received.end(),
                                 [&](const Signal& signal) { return signal.source == source; }))
            << "Nothing must be emitted for a task after its terminal signal. Received for "
            << Describe(source);
    }

    /** What the Finished of this task have named. */
    QStringList Results(const QString& source) const
    {
        QStringList results;
        for (const Signal& signal : received)
            if (signal.source == source)
                results.append(signal.results);
        return results;
    }

private:
    struct Signal
    {
        std::string name;
        QString source;
        QStringList results;
    };

    static bool IsEnd(const Signal& signal)
    {
        return signal.name == "Finished" || signal.name == "Failed";
    }

    template <typename... Arguments>
    void Receive(const char* name, void (AbstractConverter::*signal)(const QString&, Arguments...))
    {
        QObject::connect(converter.get(), signal, &receiver,
                         [this, name](const QString& source, const Arguments&... arguments) {
                             EXPECT_EQ(given.count(source), 1U)
                                 << "The first argument of every signal must be the task's source, "
                                 << "exactly as it stood in the task; " << name << " came with \""
                                 << source.toStdString() << '"';
                             received.push_back({name, source, {}});
                             (Keep(arguments), ...);
                             if (const auto action = actions.find(name); action != actions.end())
                                 action->second(source);
                         });
    }

    void Keep(const QString& resultFile) { received.back().results.append(resultFile); }
    void Keep(const QStringList& resultFiles) { received.back().results.append(resultFiles); }
    void Keep(double progress)
    {
        EXPECT_TRUE(progress >= 0 && progress <= 1)
            << "ConvertationProgress must count from 0 to 1, and not tell of " << progress;
    }
    template <typename Other>
    void Keep(const Other&)
    {
    }

    int CountSignals(const QString& source, const std::function<bool(const Signal&)>& which) const
    {
        return static_cast<int>(
            std::count_if(received.begin(), received.end(), [&](const Signal& signal) {
                return signal.source == source && which(signal);
            }));
    }

    std::string Describe(const QString& source) const
    {
        std::string text = '"' + source.toStdString() + "\":";
        for (const Signal& signal : received)
            if (signal.source == source)
                text += ' ' + signal.name;
        return text;
    }

    std::set<QString> given;
    std::vector<Signal> received;
    std::map<std::string, std::function<void(const QString&)>> actions;
    QObject receiver;
    std::shared_ptr<AbstractConverter> converter;
    const std::chrono::milliseconds patience;
};

/**
 * Checks a converter against everything that AbstractConverter promises.
 *
 *     class MyConverterTest : public Korvel::PDF::TestKit::ConverterFixture
 *     {
 *     public:
 *         std::shared_ptr<AbstractConverter> MakeConverter() override
 *         {
 *             return std::make_shared<MyConverter>();
 *         }
 *         Task SucceedingTask() override
 *         {
 *             const QString number = QString::number(++count);
 *             return {"png", MakeSource(number), folder.filePath(number + ".png"), {}};
 *         }
 *     };
 *
 *     using namespace Korvel::PDF::TestKit;
 *     INSTANTIATE_TYPED_TEST_SUITE_P(Mine, ConverterContract, MyConverterTest);
 *
 * The program needs a QCoreApplication; signals, from whatever thread, are waited for in its event
 * loop.
 *
 * - The first argument of every signal is the source of a task that the converter was given.
 * - An accepted task ends by one Finished or Failed, and nothing is emitted for it afterwards.
 * - A refused task ends by neither.
 * - ConvertationStarted comes before the end of a task that succeeds; ConvertationProgress counts
 *   from 0 to 1.
 * - The results that Finished names exist, and are those of its own task.
 * - A file that lies at the destination stays as it is.
 * - Tasks of different sources that are in hand at once are told apart.
 * - CancelConvertation leaves every task with one end, and ends nothing that was not accepted.
 * - GetSupportedFormats and DoesServiceAvailable may be called at any time.
 * - Failed can be received through a queued connection.
 * - The converter has no parent, since it is shared, and may be destroyed with tasks in hand.
 * - A receiver may delete the converter in the slot of any signal, give it the next task there,
 *   with the same source, too, or throw.
 *
 * The converter is deleted in slots in processes of their own, which the test program starts anew
 * for that; with AddressSanitizer such a process dies of whatever is touched afterwards, without it
 * of what happens to go wrong.
 *
 * "Afterwards" is while another task is converted, and until the converter is destroyed.
 */
template <typename Fixture>
class ConverterContract : public Fixture
{
protected:
    /** What the converter is given. */
    using Task = ConverterFixture::Task;

    /** Makes the converter. */
    void SetUp() override
    {
        ASSERT_TRUE(QCoreApplication::instance()) << "ConverterContract needs a QCoreApplication";
        Fixture::SetUp();
        run = std::make_unique<ConverterRun>(application);
    }

    /** Destroys the converter. */
    void TearDown() override
    {
        run.reset();
        Fixture::TearDown();
    }

    /** Gives the converter three tasks without waiting in between; the sources of those taken. */
    std::vector<QString> StartThree()
    {
        std::vector<QString> sources{run->StartAccepted(application.SucceedingTask())};
        for (int i = 0; i < 2; ++i) {
            const auto task = application.SucceedingTask();
            if (run->Start(task))
                sources.push_back(task.source);
        }
        return sources;
    }

    /** Gives a converter that has not done yet the time to show it. */
    void ConvertAnotherAndDestroy()
    {
        run->Convert(application.SucceedingTask());
        run->Destroy();
    }

    /**
     * Has the converter deleted in the slot of a signal, if it comes; for a process of its own,
     * which ends here, with 0 unless something has failed.
     */
    [[noreturn]] void DeleteInSlotOf(const std::string& signal, const Task& task)
    {
        bool isDeleted = false;
        run->InSlotOf(signal, [&](const QString&) {
            isDeleted = true;
            run->Delete();
        });
        run->Start(task);
        run->WaitUntil([&] { return isDeleted || run->CountEnds(task.source) > 0; });
        QCoreApplication::processEvents(); // what the converter has left to the event loop
        std::_Exit(Fixture::HasFailure() ? 1 : 0);
    }

    /** Fails the running test unless the converter may be deleted in the slot of the signal. */
    void ExpectToBeDeletedInSlotOf(const std::string& signal, const Task& task)
    {
        testing::FLAGS_gtest_death_test_style = "threadsafe";
        EXPECT_EXIT(DeleteInSlotOf(signal, task), testing::ExitedWithCode(0), "")
            << "A receiver may delete the converter in the slot of " << signal;
    }

    /** The fixture. */
    ConverterFixture& application = *this;
    /** The converter of this test. */
    std::unique_ptr<ConverterRun> run;
};

TYPED_TEST_SUITE_P(ConverterContract);

TYPED_TEST_P(ConverterContract, HasNoParent)
{
    EXPECT_EQ(this->run->Object().parent(), nullptr)
        << "A converter must have no parent: it is owned by those who share it";
}

TYPED_TEST_P(ConverterContract, ATaskThatSucceedsEndsOnce)
{
    const auto task = this->application.SucceedingTask();
    this->run->Convert(task);
    this->ConvertAnotherAndDestroy();
    this->run->ExpectOneEnd(task.source);
    this->run->ExpectSuccess(task.source);
    this->run->ExpectNothingAfterTheEnd(task.source);
}

TYPED_TEST_P(ConverterContract, ATaskThatSucceedsHasBegun)
{
    const auto task = this->application.SucceedingTask();
    this->run->Convert(task);
    this->run->ExpectStart(task.source);
}

TYPED_TEST_P(ConverterContract, AFileAtTheDestinationStays)
{
    const auto task = this->application.SucceedingTask();
    if (!this->application.ResultsAreFiles() || task.destination.isEmpty())
        GTEST_SKIP() << "the results are no files";
    const std::string path = task.destination.toStdString();
    std::ofstream(path) << "of the user";
    const bool isStarted = this->run->Start(task); // a converter may refuse it
    if (isStarted)
        this->run->WaitForEnd(task.source);
    std::ifstream file(path);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "of the user")
        << "A converter must not replace the file that lies at the destination, \"" << path << '"';
    EXPECT_EQ(this->run->CountEnds(task.source), isStarted ? 1 : 0)
        << "A task must end once when it was accepted, and not when it was refused";
}

TYPED_TEST_P(ConverterContract, ResultsExist)
{
    if (!this->application.ResultsAreFiles())
        GTEST_SKIP() << "the results are no files";
    const auto task = this->application.SucceedingTask();
    this->run->Convert(task);
    this->run->ExpectSuccess(task.source);
    for (const QString& result : this->run->Results(task.source))
        EXPECT_TRUE(QFileInfo::exists(result))
            << "Finished must name results that exist, not \"" << result.toStdString() << '"';
}

TYPED_TEST_P(ConverterContract, ATaskThatFailsEndsOnce)
{
    const auto task = this->application.FailingTask();
    if (!task)
        GTEST_SKIP() << "no task was given that fails";
    QObject receiver;
    int failed = 0;
    QObject::connect(
        &this->run->Object(), &Converter::AbstractConverter::Failed, &receiver,
        [&failed] { ++failed; }, Qt::QueuedConnection);
    this->run->Convert(*task);
    this->ConvertAnotherAndDestroy();
    this->run->ExpectOneEnd(task->source);
    this->run->ExpectFailure(task->source);
    this->run->ExpectNothingAfterTheEnd(task->source);
    EXPECT_EQ(failed, 1) << "Failed must reach a receiver through a queued connection";
}

TYPED_TEST_P(ConverterContract, ATaskThatIsRefusedDoesNotEnd)
{
    const auto task = this->application.RefusedTask();
    if (!task)
        GTEST_SKIP() << "no task was given that is refused";
    EXPECT_FALSE(this->run->Start(*task))
        << "ConvertFile must answer false for a task that it does not start";
    this->ConvertAnotherAndDestroy();
    this->run->ExpectNoEnd(task->source);
}

TYPED_TEST_P(ConverterContract, TasksInHandAtOnceAreToldApart)
{
    const std::vector<QString> sources = this->StartThree();
    for (const QString& source : sources)
        this->run->WaitForEnd(source);
    this->ConvertAnotherAndDestroy();
    QStringList results;
    for (const QString& source : sources) {
        this->run->ExpectOneEnd(source);
        this->run->ExpectSuccess(source);
        results.append(this->run->Results(source));
    }
    EXPECT_EQ(results.removeDuplicates(), 0) << "Finished must name the results of its own task";
}

TYPED_TEST_P(ConverterContract, CancellingLeavesEveryTaskWithOneEnd)
{
    const std::vector<QString> sources = this->StartThree();
    this->run->Object().CancelConvertation();
    for (const QString& source : sources)
        this->run->WaitForEnd(source);
    this->run->Destroy();
    for (const QString& source : sources) {
        this->run->ExpectOneEnd(source);
        this->run->ExpectNothingAfterTheEnd(source);
    }
}

TYPED_TEST_P(ConverterContract, CancellingEndsNothingThatHasEnded)
{
    this->run->Object().CancelConvertation();
    const auto task = this->application.SucceedingTask();
    this->run->Convert(task);
    this->run->Object().CancelConvertation();
    this->run->Destroy();
    this->run->ExpectOneEnd(task.source);
}

TYPED_TEST_P(ConverterContract, QuestionsDisturbNothing)
{
    const auto ask = [this] {
        this->run->Object().GetSupportedFormats();
        this->run->Object().DoesServiceAvailable();
    };
    ask();
    const auto task = this->application.SucceedingTask();
    this->run->StartAccepted(task);
    ask();
    this->run->WaitForEnd(task.source);
    ask();
    this->run->Destroy();
    this->run->ExpectOneEnd(task.source);
    this->run->ExpectSuccess(task.source);
}

TYPED_TEST_P(ConverterContract, MayBeDestroyedWithTasksInHand)
{
    const std::vector<QString> sources = this->StartThree();
    this->run->Destroy();
    for (const QString& source : sources)
        EXPECT_LE(this->run->CountEnds(source), 1)
            << "A task must not end twice when its converter is destroyed";
}

TYPED_TEST_P(ConverterContract, MayBeDeletedInASlot)
{
    const auto task = this->application.SucceedingTask();
    for (const char* const signal :
         {"ConvertationStarted", "ConvertationProgress", "ConvertationFinished", "UploadProgress",
          "DownloadProgress", "Finished"})
        this->ExpectToBeDeletedInSlotOf(signal, task);
    if (const auto failing = this->application.FailingTask())
        this->ExpectToBeDeletedInSlotOf("Failed", *failing);
}

TYPED_TEST_P(ConverterContract, TakesTheNextTaskInTheSlotOfAnEnd)
{
    const auto task = this->application.SucceedingTask();
    auto next = task;
    next.destination = this->application.SucceedingTask().destination;
    bool isTaken = true;
    this->run->InSlotOf("Finished", [&](const QString& source) {
        if (this->run->CountEnds(source) == 1)
            isTaken = this->run->Start(next);
    });
    this->run->Start(task);
    this->run->WaitUntil([&] { return !isTaken || this->run->CountEnds(task.source) > 1; });
    EXPECT_TRUE(isTaken && this->run->CountEnds(task.source) == 2)
        << "A converter must take the next task in the slot of a terminal signal, with the same "
        << "source, too, and end it; ends: " << this->run->CountEnds(task.source);
}

TYPED_TEST_P(ConverterContract, WorksOnWhenAReceiverHasThrown)
{
    class Thrown : public std::exception
    {
    };
    const auto task = this->application.SucceedingTask();
    this->run->InSlotOf("Finished", [&](const QString& source) {
        if (source == task.source)
            throw Thrown();
    });
    try {
        this->run->Convert(task);
    } catch (const Thrown&) {
    }
    const auto next = this->application.SucceedingTask();
    this->run->Convert(next);
    EXPECT_EQ(this->run->CountEnds(next.source), 1)
        << "A converter must work on when a receiver has thrown in the slot of a terminal signal";
}

REGISTER_TYPED_TEST_SUITE_P(ConverterContract, HasNoParent, ATaskThatSucceedsEndsOnce,
                            ATaskThatSucceedsHasBegun, AFileAtTheDestinationStays, ResultsExist,
                            ATaskThatFailsEndsOnce, ATaskThatIsRefusedDoesNotEnd,
                            TasksInHandAtOnceAreToldApart, CancellingLeavesEveryTaskWithOneEnd,
                            CancellingEndsNothingThatHasEnded, QuestionsDisturbNothing,
                            MayBeDestroyedWithTasksInHand, MayBeDeletedInASlot,
                            TakesTheNextTaskInTheSlotOfAnEnd, WorksOnWhenAReceiverHasThrown);

} // namespace Korvel::PDF::TestKit
