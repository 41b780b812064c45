#include "Futures.h"
#include "OtherThread.h"
#include "WrapperFixture.h"

#include <algorithm>
#include <future>
#include <stdexcept>

#include <QCoreApplication>
#include <QDir>

// What receivers, senders and inner converters may do to a wrapper while a signal is under way.
// Valgrind sees most of the mistakes that these tests are about; the expectations see the rest.

namespace Korvel::PDF::Test {

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/** A stack of wrappers with a task in flight, and a signal of the innermost converter. */
struct Situation
{
    Stack stack;
    ConverterSignal signal;

    bool Has(Wrapper wrapper) const
    {
        return std::count(stack.wrappers.begin(), stack.wrappers.end(), wrapper) > 0;
    }

    bool IsFinished() const { return signal.signature.startsWith("Finished"); }
};

std::ostream& operator<<(std::ostream& stream, const Situation& situation)
{
    return stream << situation.signal << " through " << situation.stack;
}

std::vector<Situation> SituationsIn(bool (*isWanted)(const Situation&))
{
    std::vector<Situation> situations;
    for (const Stack& stack : AllStacks()) {
        for (const ConverterSignal& signal : ConverterSignals()) {
            const Situation situation{stack, signal};
            if (isWanted(situation))
                situations.push_back(situation);
        }
    }
    return situations;
}

const auto nameOfSituation = [](const auto& situation) {
    return situation.param.stack.name + "_" + situation.param.signal.name;
};

/** A copy that shares nothing with `text`. */
std::unique_ptr<QString> OwnText(const QString& text)
{
    return std::make_unique<QString>(text.constData(), text.size());
}

class HazardFixture : public WrapperFixture
{
protected:
    void Build(const Stack& stack)
    {
        outermost = Make(stack);
        files->files["result.png"] = "result";
    }

    /** Starts the task; the path under which the innermost converter knows it. */
    QString Start()
    {
        EXPECT_TRUE(outermost->ConvertFile(task));
        return converter->tasks.back().source;
    }

    /** Calls `receive` for every signal of the outermost wrapper, after it was recorded. */
    void OnReceived(const std::function<void()>& receive)
    {
        ReceiveAll(*outermost, &receiver, [this, receive](const std::string& line) {
            received.push_back(line);
            receive();
        });
    }

    /** What the caller receives for `signal` about the task in flight. */
    std::string Reported(const Situation& situation) const
    {
        const std::string source = task.source.toStdString();
        if (situation.IsFinished() && situation.Has(Wrapper::TempFile)) {
            const bool isOne = situation.signal.name == "FinishedFile";
            return situation.signal.name + " " + source + (isOne ? " /out/page.png" : " []");
        }
        return situation.signal.Line(task.source);
    }

    /** Names of the unencrypted copies that lie on the disk. */
    QStringList Copies() const
    {
        QStringList copies = QDir(folder.path()).entryList(QDir::Files);
        copies.removeOne("source.pdf");
        return copies;
    }

    const Task task = MakeTask();
    std::shared_ptr<AbstractConverter> outermost;
};

class HazardTest : public HazardFixture, public testing::WithParamInterface<Situation>
{
protected:
    HazardTest() { Build(GetParam().stack); }

    /** Where the signal ends the task, no copy is left, either. */
    void ExpectReceivedOnce() const
    {
        EXPECT_THAT(received, ElementsAre(Reported(GetParam())));
        if (signal.endsTask) {
            EXPECT_THAT(Copies(), IsEmpty());
        }
    }

    const ConverterSignal& signal = GetParam().signal;
};

/** With the three signals that end a task. */
class EndHazardTest : public HazardTest
{
};

/** With two wrappers around each other. */
class TwoThreadsHazardTest : public HazardTest
{
};

/** With the signals that some wrapper of the stack relays through a handler of its own. */
class HandlerHazardTest : public HazardTest
{
};

class StackHazardTest : public HazardFixture, public testing::WithParamInterface<Stack>
{
protected:
    StackHazardTest() { Build(GetParam()); }
};

} // namespace

INSTANTIATE_TEST_SUITE_P(, HazardTest,
                         testing::ValuesIn(SituationsIn([](const Situation&) { return true; })),
                         nameOfSituation);

INSTANTIATE_TEST_SUITE_P(, EndHazardTest,
                         testing::ValuesIn(SituationsIn([](const Situation& situation) {
                             return situation.signal.endsTask;
                         })),
                         nameOfSituation);

INSTANTIATE_TEST_SUITE_P(, HandlerHazardTest,
                         testing::ValuesIn(SituationsIn([](const Situation& situation) {
                             return situation.Has(Wrapper::Unencrypt) || situation.IsFinished();
                         })),
                         nameOfSituation);

INSTANTIATE_TEST_SUITE_P(, TwoThreadsHazardTest,
                         testing::ValuesIn(SituationsIn([](const Situation& situation) {
                             return situation.stack.wrappers.size() == 2;
                         })),
                         nameOfSituation);

INSTANTIATE_TEST_SUITE_P(, StackHazardTest, testing::ValuesIn(AllStacks()),
                         [](const auto& stack) { return stack.param.name; });

// A receiver deletes the wrapper inside its slot.

TEST_P(HazardTest, AReceiverMayDeleteTheWrapper)
{
    const QString path = Start();
    OnReceived([this] { outermost.reset(); });
    signal.emitFrom(*converter, path);
    ExpectReceivedOnce();
}

TEST_P(HazardTest, AReceiverMayDeleteTheWrapperAndTheInnerConverterWithIt)
{
    const QString path = Start();
    OnReceived([this] { outermost.reset(); });
    FakeConverter& sender = *converter;
    ReleaseAll();
    signal.emitFrom(sender, path);
    EXPECT_THAT(*journal, Contains("~FakeConverter"));
    ExpectReceivedOnce();
}

TEST_P(HazardTest, AReceiverMayDeleteTheWrapperBeforeConvertFileHasReturned)
{
    OnReceived([this] { outermost.reset(); });
    converter->onConvertFile = [this, sender = converter.get()](const Task& inner) {
        signal.emitFrom(*sender, inner.source);
    };
    ReleaseAll();
    EXPECT_TRUE(outermost.get()->ConvertFile(task));
    EXPECT_THAT(*journal, Contains("~FakeConverter"));
    ExpectReceivedOnce();
}

TEST_P(EndHazardTest, AReceiverMayDeleteTheWrapperBeforeCancellingHasReturned)
{
    const QString path = Start();
    OnReceived([this] { outermost.reset(); });
    converter->onCancelConvertation = [this, path, sender = converter.get()] {
        signal.emitFrom(*sender, path);
    };
    ReleaseAll();
    EXPECT_TRUE(outermost.get()->CancelConvertation());
    EXPECT_THAT(received, ElementsAre(Reported(GetParam())));
    EXPECT_THAT(Copies(), IsEmpty());
}

// The same path ends once more inside a slot or a service.

TEST_P(EndHazardTest, TheTaskMayEndOnceMoreInsideASlot)
{
    const QString path = Start();
    OnReceived([this, path] {
        if (received.size() == 1)
            signal.emitFrom(*converter, path);
    });
    LogCapture log;
    signal.emitFrom(*converter, path);
    signal.emitFrom(*converter, path);

    const std::string reported = Reported(GetParam());
    EXPECT_THAT(Copies(), IsEmpty());
    if (GetParam().IsFinished() && GetParam().Has(Wrapper::TempFile)) {
        EXPECT_THAT(received, ElementsAre(reported));
        EXPECT_THAT(log.Texts(), Contains(HasSubstr("Cannot find info for file")).Times(2));
    } else {
        // Both ends of the copy find its entry, the third one finds none.
        EXPECT_THAT(received, ElementsAre(reported, reported, signal.Line(path)));
    }
}

TEST_F(HazardFixture, AResultMayComeOnceMoreWhileItIsMoved)
{
    Build({"", {Wrapper::TempFile}});
    Record(*outermost);
    const QString path = Start();
    int moves = 0;
    files->onMove = [&] {
        if (++moves == 1)
            Q_EMIT converter->Finished(path, QStringLiteral("result.png"));
    };
    Q_EMIT converter->Finished(path, QStringLiteral("result.png"));
    const std::string source = task.source.toStdString();
    EXPECT_THAT(received, ElementsAre("FinishedFile " + source + " /out/page.png",
                                      "FinishedFile " + source + " "));
}

TEST_F(HazardFixture, AListMayComeOnceMoreWhileItIsMoved)
{
    Build({"", {Wrapper::TempFile}});
    Record(*outermost);
    const QString path = Start();
    int moves = 0;
    files->onMove = [&] {
        if (++moves == 1)
            Q_EMIT converter->Finished(path, QStringList{"b.png"});
    };
    Q_EMIT converter->Finished(path, QStringList{"a.png", "result.png"});
    EXPECT_EQ(moves, 3);
    EXPECT_EQ(files->files.count("/outpage.png"), 1u);
    EXPECT_THAT(received, ElementsAre("FinishedFiles " + task.source.toStdString() + " []",
                                      "FinishedFiles " + task.source.toStdString() + " []"));
}

// The sender's string dies during the emission.

TEST_P(HandlerHazardTest, TheSendersStringMayDieDuringTheEmission)
{
    std::unique_ptr<QString> path = OwnText(Start());
    OnReceived([&path] { path.reset(); });
    Record(*outermost);
    signal.emitFrom(*converter, *path);
    EXPECT_THAT(received, ElementsAre(Reported(GetParam()), Reported(GetParam())));
    if (signal.endsTask) {
        EXPECT_THAT(Copies(), IsEmpty());
    }
}

TEST_P(HandlerHazardTest, TheStringOfAPathWithoutATaskMayDieDuringTheEmission)
{
    std::unique_ptr<QString> path = OwnText("unknown.pdf");
    OnReceived([&path] { path.reset(); });
    Record(*outermost);
    signal.emitFrom(*converter, *path);
    if (GetParam().IsFinished() && GetParam().Has(Wrapper::TempFile))
        EXPECT_THAT(received, IsEmpty());
    else
        EXPECT_THAT(received, ElementsAre(signal.Line("unknown.pdf"), signal.Line("unknown.pdf")));
}

// The inner converter emits from its destructor, while the wrapper's record is being destroyed.

TEST_P(HazardTest, TheInnerConverterMayEmitFromItsDestructor)
{
    const QString path = Start();
    Record(*outermost);
    converter->onDestruction = [this, path, sender = converter.get()] {
        signal.emitFrom(*sender, path);
    };
    const QStringList copies = Copies();
    ReleaseAll();
    LogCapture log(0);
    outermost.reset();
    EXPECT_THAT(*journal, Contains("~FakeConverter"));
    EXPECT_EQ(Copies(), copies);
    if (GetParam().IsFinished() && GetParam().Has(Wrapper::TempFile)) {
        EXPECT_THAT(received, IsEmpty());
        EXPECT_THAT(log.Texts(), ElementsAre(HasSubstr("Cannot find info for file")));
    } else {
        EXPECT_THAT(received, ElementsAre(signal.Line(path)));
        EXPECT_THAT(log.Texts(), IsEmpty());
    }
}

// A slot starts the next task with the same source.

TEST_P(EndHazardTest, ASlotMayStartTheNextTaskWithTheSameSource)
{
    const QString path = Start();
    bool isFirst = true;
    OnReceived([&] {
        Task next = task;
        next.destination = "/out/next.png";
        if (std::exchange(isFirst, false)) {
            EXPECT_TRUE(outermost->ConvertFile(next));
        }
    });
    signal.emitFrom(*converter, path);
    EXPECT_THAT(TakeReceived(), ElementsAre(Reported(GetParam())));

    const bool unencrypts = GetParam().Has(Wrapper::Unencrypt);
    const QString next = converter->tasks.back().source;
    EXPECT_EQ(next != path, unencrypts);
    EXPECT_EQ(Copies().isEmpty(), !unencrypts);
    EXPECT_TRUE(QFile::exists(next));

    files->files["result.png"] = "next";
    Q_EMIT converter->Finished(next, QStringLiteral("result.png"));
    std::string result = " result.png";
    if (GetParam().Has(Wrapper::TempFile))
        result = " /out/next.png";
    // A destination outlives the failure of its task.
    if (signal.name == "Failed" && GetParam().stack.wrappers.front() == Wrapper::TempFile)
        result = " /out/page.png";
    EXPECT_THAT(received, ElementsAre("FinishedFile " + task.source.toStdString() + result));
    EXPECT_THAT(Copies(), IsEmpty());
}

// A receiver throws.

TEST_P(EndHazardTest, AReceiverMayThrowAndTheTaskEndsAllTheSame)
{
    const QString path = Start();
    OnReceived([this] {
        if (received.size() == 1)
            throw std::runtime_error("receiver");
    });
    EXPECT_THROW(signal.emitFrom(*converter, path), std::runtime_error);
    EXPECT_THAT(Copies(), IsEmpty());

    // No entry is left that would translate the path, or that a second result would find.
    received.push_back("thrown");
    Q_EMIT converter->ConvertationStarted(path);
    EXPECT_THAT(received, Contains("ConvertationStarted " + path.toStdString()));
    if (GetParam().IsFinished() && GetParam().Has(Wrapper::TempFile)) {
        received.clear();
        signal.emitFrom(*converter, path);
        EXPECT_THAT(received, IsEmpty());
    }
}

// Signals from other threads, ErrorType among their arguments.

TEST_P(HazardTest, ASignalOfAnotherThreadArrivesInTheEventLoop)
{
    const QString path = Start();
    Record(*outermost);
    OnOtherThread([&] { signal.emitFrom(*converter, path); });
    EXPECT_THAT(received, IsEmpty());
    QCoreApplication::processEvents();
    ExpectReceivedOnce();
}

TEST_P(TwoThreadsHazardTest, ASignalIsQueuedTwiceWhereTheInnerWrapperHasAThreadOfItsOwn)
{
    const std::vector<Wrapper>& wrappers = GetParam().stack.wrappers;
    std::promise<std::shared_ptr<AbstractConverter>> innerMade;
    std::promise<void> emitted;
    std::thread thread([&] {
        // An object belongs to the thread that makes it.
        innerMade.set_value(Make({"", {wrappers.back()}}));
        emitted.get_future().wait();
        QCoreApplication::sendPostedEvents();
    });
    outermost = MakeAround(innerMade.get_future().get(), wrappers.front());
    Record(*outermost);
    OnOtherThread([this] { signal.emitFrom(*converter, "unknown.pdf"); });
    emitted.set_value();
    thread.join();

    EXPECT_THAT(received, IsEmpty());
    QCoreApplication::processEvents();
    if (GetParam().IsFinished() && GetParam().Has(Wrapper::TempFile)) {
        EXPECT_THAT(received, IsEmpty());
    } else {
        EXPECT_THAT(received, ElementsAre(signal.Line("unknown.pdf")));
    }
}

// Deep recursion, and how it is avoided.

TEST_P(StackHazardTest, TasksThatEndAndFollowEachOtherInTheEventLoopNeedNoMoreStack)
{
    pdfs->open = [] {
        return Ready(DocumentHandle{1, 0});
    };
    pdfs->save = [] {
        return Ready(true);
    };
    std::vector<char*> frames;
    converter->onConvertFile = [&](const Task& inner) {
        frames.push_back(static_cast<char*>(__builtin_frame_address(0)));
        QMetaObject::invokeMethod(
            converter.get(),
            [this, path = inner.source] {
                Q_EMIT converter->Failed(path, AbstractConverter::Unknown);
            },
            Qt::QueuedConnection);
    };
    const auto start = [this] {
        outermost->ConvertFile(task);
    };
    OnReceived([&] { QMetaObject::invokeMethod(&receiver, start, Qt::QueuedConnection); });
    start();
    for (int rounds = 0; rounds < 10000 && received.size() < 300; ++rounds)
        QCoreApplication::processEvents();
    ASSERT_GE(received.size(), 300u);
    // The first task was not started from the event loop.
    const auto [lowest, highest] = std::minmax_element(frames.begin() + 1, frames.end());
    EXPECT_EQ(*lowest, *highest);
}

TEST_P(StackHazardTest, TasksThatEndAndFollowEachOtherInsideTheCallsAreAllReported)
{
    const std::size_t depth = 100;
    converter->onConvertFile = [this](const Task& inner) {
        Q_EMIT converter->Failed(inner.source, AbstractConverter::Unknown);
    };
    OnReceived([this] {
        if (received.size() < depth) {
            EXPECT_TRUE(outermost->ConvertFile(task));
        }
    });
    EXPECT_TRUE(outermost->ConvertFile(task));
    EXPECT_EQ(received,
              std::vector<std::string>(depth, "Failed " + task.source.toStdString() + " 0"));
    EXPECT_THAT(Copies(), IsEmpty());
}

// Everything at once.

TEST_P(EndHazardTest, AllOfItMayHappenInOneSlot)
{
    const QString path = Start();
    std::unique_ptr<QString> text = OwnText(path);
    FakeConverter& sender = *converter;
    sender.onDestruction = [&] {
        signal.emitFrom(sender, path);
    };
    ReleaseAll();
    OnReceived([&] {
        if (received.size() > 1)
            return;
        text.reset();
        signal.emitFrom(sender, path);
        EXPECT_TRUE(outermost->ConvertFile(task));
        outermost.reset();
        throw std::runtime_error("receiver");
    });
    EXPECT_THROW(signal.emitFrom(sender, *text), std::runtime_error);

    EXPECT_EQ(outermost, nullptr);
    EXPECT_THAT(*journal, Contains("~FakeConverter"));
    EXPECT_EQ(received.front(), Reported(GetParam()));
    if (GetParam().Has(Wrapper::Unencrypt)) {
        EXPECT_FALSE(QFile::exists(path)) << "the copy of the task that ended";
    }
}

} // namespace Korvel::PDF::Test
