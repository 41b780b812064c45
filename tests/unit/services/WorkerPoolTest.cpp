#include "WorkerPool.h"

#include "WorkerPdfProvider.h"
#include "WorkerTestTools.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>

namespace Korvel::PDF::Test {
namespace {

class WorkerPoolTest : public testing::Test
{
protected:
    /** Asks for something with a file; the request is known by `name`. */
    void Ask(WorkerPool& pool, const std::string& name, const QString& file,
             const QJsonObject& further = {}, const void* asker = nullptr)
    {
        QJsonObject request = further;
        request["op"] = "convert";
        request["file"] = file;
        pool.Ask(asker ? asker : this, request, [this, name](const QJsonObject& answer) {
            answered.push_back(name);
            processes.push_back(answer["pid"].toInt());
            reasons.push_back(answer["reason"].toString().toStdString());
        });
    }

    void Wait(std::size_t answers)
    {
        ASSERT_TRUE(WaitUntil([&] { return answered.size() >= answers; }));
    }

    /** A request with these members is worked on until Go is called. */
    QJsonObject Meeting() const { return {{"meet", folder.path()}}; }

    /** With room for so many processes alone, and none for others in their place. */
    WorkerSettings WithRoomFor(int several) const
    {
        WorkerSettings settings{ScriptedWorker()};
        settings.folder = folder.path();
        EXPECT_TRUE(QDir(folder.path()).mkdir("room"));
        for (int i = 0; i < several; ++i)
            QFile(folder.filePath(QStringLiteral("room/%1").arg(i))).open(QFile::WriteOnly);
        return settings;
    }

    void Go() const { QFile(folder.filePath("go")).open(QFile::WriteOnly); }

    const QTemporaryDir folder;
    std::vector<std::string> answered;
    std::vector<int> processes;
    std::vector<std::string> reasons;
};

TEST_F(WorkerPoolTest, StartsNoMoreProcessesThanItMayAndNoneBeforeItMust)
{
    WorkerPool pool({ScriptedWorker()}, 3);
    EXPECT_TRUE(ChildProcesses().empty());
    Ask(pool, "first", "/nowhere/a");
    Wait(1);
    EXPECT_EQ(Workers().size(), 1U);
    for (int i = 0; i < 20; ++i)
        Ask(pool, "further", "/nowhere/a", Meeting());
    EXPECT_TRUE(WaitUntil([] { return Workers().size() >= 3; }));
    Go();
    Wait(21);
    EXPECT_EQ(Workers().size(), 3U);
    EXPECT_EQ(reasons, std::vector<std::string>(21));
}

TEST_F(WorkerPoolTest, GoesOnWithTheProcessThatHasOpenedTheDocument)
{
    const QString file = MakeFile("answer");
    WorkerPdfProvider provider({ScriptedWorker()});
    const DocumentHandle document = provider.OpenDocument(ioPath(file.toStdString()), "").get();
    const std::vector<int> opener = Workers();
    WorkerPool pool({ScriptedWorker()}, 2);
    EXPECT_EQ(pool.Adopt(provider.TakeWorker(document), file), nullptr);
    EXPECT_FALSE(provider.Describe(document));
    for (const char* request : {"first", "second"}) {
        Ask(pool, request, file);
        Wait(processes.size() + 1); // else another one would help where this one takes long
    }
    EXPECT_EQ(processes[0], processes[1]) << "which looks at that file still";
    EXPECT_EQ(Workers(), opener);
}

TEST_F(WorkerPoolTest, StartsAProcessWhereNoneWasAdopted)
{
    WorkerPdfProvider provider({ScriptedWorker()});
    WorkerPool pool({ScriptedWorker()}, 1);
    EXPECT_EQ(pool.Adopt(provider.TakeWorker({}), "/nowhere/a"), nullptr);
    Ask(pool, "first", "/nowhere/a");
    Wait(1);
    EXPECT_EQ(reasons.back(), "");
}

TEST_F(WorkerPoolTest, KeepsEachAdoptedProcessForItsFile)
{
    const QString a = MakeFile("answer.a");
    const QString b = MakeFile("answer.b");
    WorkerPdfProvider provider({ScriptedWorker()});
    const DocumentHandle first = provider.OpenDocument(ioPath(a.toStdString()), "").get();
    const DocumentHandle second = provider.OpenDocument(ioPath(b.toStdString()), "").get();
    const std::vector<int> openers = Workers();
    WorkerPool pool({ScriptedWorker()}, 2);
    EXPECT_EQ(pool.Adopt(provider.TakeWorker(first), a), nullptr);
    EXPECT_EQ(pool.Adopt(provider.TakeWorker(second), b), nullptr);
    for (const QString& file : {b, a, b, a}) {
        Ask(pool, "", file);
        Wait(processes.size() + 1); // else one that is free would help the other
    }
    EXPECT_EQ(processes[0], processes[2]);
    EXPECT_EQ(processes[1], processes[3]);
    EXPECT_NE(processes[0], processes[1]);
    EXPECT_EQ(Workers(), openers);
}

TEST_F(WorkerPoolTest, HandsTheProcessBackInWhosePlaceItTakesAnother)
{
    const QString file = MakeFile("answer.a");
    WorkerPdfProvider provider({ScriptedWorker()});
    WorkerPool pool({ScriptedWorker()}, 1);
    Ask(pool, "other", "/nowhere/other");
    Wait(1);
    const DocumentHandle document = provider.OpenDocument(ioPath(file.toStdString()), "").get();
    const std::vector<int> both = Workers();
    std::unique_ptr<WorkerProcess> old = pool.Adopt(provider.TakeWorker(document), file);
    ASSERT_TRUE(old);
    EXPECT_TRUE(old->IsStarted());
    provider.TakeBack(std::move(old));
    Ask(pool, "adopted", file);
    Wait(2);
    EXPECT_NE(processes[0], processes[1]);
    EXPECT_GE(provider.OpenDocument(ioPath(MakeFile("answer.b").toStdString()), "").get().id, 0);
    EXPECT_TRUE(WaitUntil([&] { return Workers().size() == both.size(); }))
        << "what was handed back has opened it";
}

TEST_F(WorkerPoolTest, HandsAProcessBackThatItHasNoPlaceFor)
{
    const QString a = MakeFile("answer.a");
    const QString b = MakeFile("answer.b");
    WorkerPdfProvider provider({ScriptedWorker()});
    const DocumentHandle first = provider.OpenDocument(ioPath(a.toStdString()), "").get();
    const DocumentHandle second = provider.OpenDocument(ioPath(b.toStdString()), "").get();
    WorkerPool pool({ScriptedWorker()}, 1);
    EXPECT_EQ(pool.Adopt(provider.TakeWorker(first), a), nullptr);
    std::unique_ptr<WorkerProcess> process = provider.TakeWorker(second);
    const WorkerProcess* const given = process.get();
    process = pool.Adopt(std::move(process), b);
    EXPECT_EQ(process.get(), given) << "the first one has not been asked yet";
    Ask(pool, "a", a, Meeting());
    process = pool.Adopt(std::move(process), b);
    EXPECT_EQ(process.get(), given) << "the first one is at work";
    Go();
    Wait(1);
    process = pool.Adopt(std::move(process), b);
    EXPECT_TRUE(process);
    EXPECT_NE(process.get(), given);
}

TEST_F(WorkerPoolTest, GivesAwayAFreeProcessAlone)
{
    WorkerPool pool({ScriptedWorker()}, 1);
    EXPECT_EQ(pool.GiveAway(), nullptr) << "none is started";
    Ask(pool, "first", "/nowhere/a", Meeting());
    EXPECT_EQ(pool.GiveAway(), nullptr) << "it is at work";
    Go();
    Wait(1);
    EXPECT_TRUE(pool.GiveAway());
    EXPECT_TRUE(Workers().empty()) << "nobody has taken it";
    Ask(pool, "second", "/nowhere/a");
    Wait(2);
    EXPECT_EQ(reasons.back(), "");
}

TEST_F(WorkerPoolTest, LeavesAProcessAtItsFile)
{
    WorkerPool pool({ScriptedWorker()}, 1);
    for (const char* name : {"a1", "b1", "a2", "b2"})
        Ask(pool, name, QString("/nowhere/%1").arg(name[0]));
    Wait(4);
    EXPECT_EQ(answered, (std::vector<std::string>{"a1", "a2", "b1", "b2"}));
    EXPECT_EQ(processes[0], processes[1]);
    EXPECT_NE(processes[1], processes[2]);
}

TEST_F(WorkerPoolTest, WakesTheProcessThatHasLookedAtTheFile)
{
    WorkerPool pool({ScriptedWorker()}, 2);
    Ask(pool, "a", "/nowhere/a");
    Ask(pool, "b", "/nowhere/b");
    Wait(2);
    const int ofB = processes[answered[0] == "b" ? 0 : 1];
    Ask(pool, "b again", "/nowhere/b");
    Wait(3);
    EXPECT_EQ(processes[2], ofB);
}

TEST_F(WorkerPoolTest, TakesUpAFileThatNobodyHasBeforeItHelpsAnotherProcess)
{
    WorkerPool pool({ScriptedWorker()}, 2);
    Ask(pool, "a1", "/nowhere/a", Meeting());
    Ask(pool, "b", "/nowhere/b");
    Ask(pool, "a2", "/nowhere/a");
    Ask(pool, "c", "/nowhere/c");
    Wait(3);
    EXPECT_EQ(answered, (std::vector<std::string>{"b", "c", "a2"})) << "while a1 waits";
    Go();
    Wait(4);
}

TEST_F(WorkerPoolTest, EndsWhatOneAskerHasAskedForAndNothingElse)
{
    WorkerPool pool({ScriptedWorker()}, 2);
    const int one = 0;
    const int other = 0;
    Ask(pool, "other's", "/nowhere/b", Meeting(), &other);
    Ask(pool, "in work", "/nowhere/fall-silent", {}, &one);
    Ask(pool, "waiting", "/nowhere/fall-silent", {}, &one);
    Ask(pool, "other's second", "/nowhere/b", {}, &other);
    pool.End(&one);
    EXPECT_EQ(answered, (std::vector<std::string>{"in work", "waiting"}));
    EXPECT_EQ(reasons, (std::vector<std::string>{"ended", "ended"}));
    Go();
    Wait(4);
    EXPECT_EQ(reasons[2] + reasons[3], "");
}

TEST_F(WorkerPoolTest, StartsNothingForRequestsThatAreEndedNext)
{
    WorkerPool pool({ScriptedWorker()}, 1);
    const std::vector<int> askers(3);
    for (const int& asker : askers)
        Ask(pool, "ended", "/nowhere/fall-silent", {}, &asker);
    ASSERT_TRUE(WaitUntil([] { return Workers().size() == 1; }));
    for (const int& asker : askers) {
        pool.End(&asker);
        EXPECT_TRUE(Workers().empty());
    }
    EXPECT_EQ(reasons, std::vector<std::string>(3, "ended"));
    Ask(pool, "last", "/nowhere/a");
    Wait(4);
    EXPECT_EQ(reasons.back(), "");
}

TEST_F(WorkerPoolTest, AnswersEverythingBeforeItIsGone)
{
    {
        WorkerPool pool({ScriptedWorker()}, 2);
        for (const char* name : {"1", "2", "3", "4", "5"})
            Ask(pool, name, "/nowhere/fall-silent");
    }
    EXPECT_EQ(reasons, std::vector<std::string>(5, "ended"));
    EXPECT_TRUE(ChildProcesses().empty());
}

TEST_F(WorkerPoolTest, GoesOnWithTheNextRequestWhenAProcessDies)
{
    WorkerPool pool({ScriptedWorker()}, 1);
    Ask(pool, "deadly", "/nowhere/die");
    Ask(pool, "harmless", "/nowhere/a");
    Wait(2);
    EXPECT_EQ(reasons, (std::vector<std::string>{"died", ""}));
}

TEST_F(WorkerPoolTest, DoesAllWithTheProcessesThatTheMachineHasRoomFor)
{
    WorkerPool pool(WithRoomFor(1), 3);
    Ask(pool, "first", "/nowhere/a");
    Wait(1);
    Ask(pool, "meeting", "/nowhere/a", Meeting());
    for (int i = 0; i < 19; ++i)
        Ask(pool, "further", "/nowhere/a");
    QThread::msleep(20); // in which others are tried
    QCoreApplication::processEvents();
    Go();
    Wait(21);
    EXPECT_EQ(reasons, std::vector<std::string>(21));
    EXPECT_EQ(pool.WhyNotStarted(), "");
}

TEST_F(WorkerPoolTest, WaitsForAProcessThatIsAtItsFirstRequestWhereThereIsNoRoomForMore)
{
    WorkerPool pool(WithRoomFor(1), 3);
    Ask(pool, "first", "/nowhere/a", Meeting());
    ASSERT_TRUE(WaitUntil([&] { return QDir(folder.filePath("room")).isEmpty(); }));
    Ask(pool, "second", "/nowhere/a");
    for (int i = 0; i < 20; ++i) { // in which others are tried
        QThread::msleep(10);
        QCoreApplication::processEvents();
    }
    EXPECT_EQ(answered, std::vector<std::string>());
    Go();
    Wait(2);
    EXPECT_EQ(reasons, std::vector<std::string>(2));
    EXPECT_EQ(pool.WhyNotStarted(), "");
}

TEST_F(WorkerPoolTest, TellsWhyNoProcessCouldBeStarted)
{
    WorkerPool pool(WithRoomFor(0), 2);
    Ask(pool, "first", "/nowhere/a");
    Ask(pool, "second", "/nowhere/b");
    Wait(2);
    EXPECT_EQ(reasons, (std::vector<std::string>{"not-started", "not-started"}));
    EXPECT_EQ(pool.WhyNotStarted(), "cannot start a worker: no room");
}

TEST_F(WorkerPoolTest, MayBeDestroyedByAReceiver)
{
    auto pool = std::make_unique<WorkerPool>(WorkerSettings{ScriptedWorker()}, 1);
    Ask(*pool, "waiting", "/nowhere/b");
    pool->Ask(this, {{"op", "convert"}, {"file", "/nowhere/b"}}, [&](const QJsonObject&) {
        pool.reset();
        answered.emplace_back("destroyer");
    });
    Ask(*pool, "last", "/nowhere/c");
    Wait(3);
    EXPECT_EQ(answered, (std::vector<std::string>{"waiting", "last", "destroyer"}));
}

} // namespace
} // namespace Korvel::PDF::Test
