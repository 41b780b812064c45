#include "WorkerProcess.h"

#include "IsSanitized.h"
#include "WorkerTestTools.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <memory>
#include <optional>
#include <thread>

#include <gmock/gmock.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Korvel::PDF::Test {

namespace {

using namespace std::chrono_literals;

/** Long enough for an answer of a worker that is willing, however slow the machine is. */
constexpr auto longDeadline = 1min;
constexpr auto shortDeadline = 1s;

std::string Reason(const QJsonObject& answer)
{
    EXPECT_FALSE(answer["ok"].toBool());
    EXPECT_FALSE(answer["message"].toString().isEmpty());
    return answer["reason"].toString().toStdString();
}

/** Whom the answers of a test go to, with a name for each request. */
struct Answers
{
    WorkerProcess::Receiver For(const QString& name)
    {
        return [this, name](const QJsonObject& answer) {
            names.append(name);
            byName[name] = answer;
        };
    }

    bool WaitForCount(int count)
    {
        return WaitUntil([this, count] { return names.size() >= count; });
    }

    QStringList names;
    std::map<QString, QJsonObject> byName;
};

} // namespace

TEST(WorkerProcessTest, StartsNoProcessBeforeTheFirstRequest)
{
    const WorkerProcess worker({ScriptedWorker()});
    EXPECT_TRUE(ChildProcesses().empty());
}

TEST(WorkerProcessTest, AddsAnIdAndHandsTheAnswerOver)
{
    WorkerProcess worker({ScriptedWorker()});
    const QJsonObject answer = AskAndWait(worker, {{"op", "convert"}, {"page", 3}});
    const QJsonObject request = answer["request"].toObject();
    EXPECT_TRUE(answer["ok"].toBool());
    EXPECT_EQ(answer["id"], request["id"]);
    EXPECT_EQ(request["op"].toString(), "convert");
    EXPECT_EQ(request["page"].toInt(), 3);
}

TEST(WorkerProcessTest, HandsItsLimitsToTheProgram)
{
    const auto arguments = [](WorkerProcess& worker) {
        const QString line = AskAndWait(worker, {})["cmdline"].toString();
        return line.mid(line.indexOf(" --") + 1).trimmed();
    };
    WorkerProcess usual({ScriptedWorker()});
    EXPECT_EQ(arguments(usual), "--memory-limit 1024 --time-limit 600 --file-limit 1024");
    WorkerProcess poor({ScriptedWorker(), 61'001ms, 512, "/a folder", 3});
    EXPECT_EQ(arguments(poor),
              "--memory-limit 512 --time-limit 62 --file-limit 3 --folder /a folder");
    WorkerSettings chosen{ScriptedWorker()};
    chosen.engine = DrawingEngine::Qt;
    WorkerProcess byQt(chosen);
    EXPECT_EQ(arguments(byQt),
              "--memory-limit 1024 --time-limit 600 --file-limit 1024 --engine qt");
    chosen.engine = DrawingEngine::Pdfium;
    WorkerProcess byPdfium(chosen);
    EXPECT_EQ(arguments(byPdfium),
              "--memory-limit 1024 --time-limit 600 --file-limit 1024 --engine pdfium");
}

TEST(WorkerProcessTest, HandsNothingElseOfTheEnvironmentToTheProgram)
{
    ::qputenv("SECRET_OF_THE_USER", "told to nobody");
    ::qputenv("QT_PLUGIN_PATH", "/where/plugins/are");
    WorkerProcess worker({ScriptedWorker()});
    const QString environment = AskAndWait(worker, Do("answer"))["environ"].toString();
    ::qunsetenv("SECRET_OF_THE_USER");
    ::qunsetenv("QT_PLUGIN_PATH");
    EXPECT_TRUE(environment.contains("QT_PLUGIN_PATH=/where/plugins/are "));
    EXPECT_FALSE(environment.contains("SECRET_OF_THE_USER"));
    EXPECT_FALSE(environment.contains("HOME="));
    EXPECT_FALSE(environment.contains("PATH=/usr"));
}

TEST(WorkerProcessTest, HasTheProgramTakeMemoryInLargePagesUnlessToldOtherwise)
{
    const auto environment = [] {
        WorkerProcess worker({ScriptedWorker()});
        return AskAndWait(worker, {})["environ"].toString().split(' ');
    };
    EXPECT_TRUE(environment().contains("GLIBC_TUNABLES=glibc.malloc.hugetlb=1"));
    qputenv("GLIBC_TUNABLES", "glibc.malloc.perturb=1");
    EXPECT_TRUE(environment().contains("GLIBC_TUNABLES=glibc.malloc.perturb=1"));
    qunsetenv("GLIBC_TUNABLES");
}

/** Asks to do something with a file: the process that answers. */
int ProcessFor(WorkerProcess& worker, const QString& op, const QString& file)
{
    const QJsonObject answer = AskAndWait(worker, {{"op", op}, {"file", file}});
    EXPECT_TRUE(answer["ok"].toBool());
    return answer["pid"].toInt();
}

TEST(WorkerProcessTest, AsksANewProcessToLookAtAnotherFile)
{
    WorkerProcess worker({ScriptedWorker(), longDeadline});
    const int none = ProcessFor(worker, "close", {});
    const int first = ProcessFor(worker, "open", "/nowhere/1");
    EXPECT_EQ(first, none) << "which has looked at nothing";
    EXPECT_EQ(ProcessFor(worker, "convert", "/nowhere/1"), first);
    EXPECT_EQ(ProcessFor(worker, "save", ResultPath()), first) << "a file to write";
    const int second = ProcessFor(worker, "convert", "/nowhere/2");
    EXPECT_NE(second, first);
    EXPECT_NE(ProcessFor(worker, "open", "/nowhere/1"), second);
    EXPECT_EQ(ChildProcesses().size(), 1U);
    EXPECT_TRUE(WaitUntil([] { return Workers().size() == 1; }));
}

TEST(WorkerProcessTest, SharesAProgramWithOthersAndKnowsNothingOfTheirProcesses)
{
    const auto server = std::make_shared<WorkerServer>(WorkerSettings{ScriptedWorker()});
    server->Prepare();
    const std::vector<int> program = ChildProcesses();
    EXPECT_EQ(program.size(), 1U);
    WorkerProcess one(server);
    WorkerProcess other(server);
    const int first = ProcessFor(one, "open", "/nowhere/1");
    const int second = ProcessFor(other, "open", "/nowhere/1");
    EXPECT_NE(first, second);
    EXPECT_EQ(ChildProcesses(), program);
    EXPECT_EQ(Reason(AskAndWait(one, Do("die"))), "died");
    one.End();
    EXPECT_EQ(ProcessFor(other, "open", "/nowhere/1"), second);
    EXPECT_NE(ProcessFor(one, "open", "/nowhere/1"), first);
    EXPECT_EQ(ChildProcesses(), program);
}

TEST(WorkerProcessTest, ComesOfAnotherRunOfTheProgramAfterACrash)
{
    const auto server = std::make_shared<WorkerServer>(WorkerSettings{ScriptedWorker()});
    WorkerProcess one(server);
    WorkerProcess other(server);
    const int kept = ProcessFor(other, "open", "/nowhere/1");
    const std::vector<int> program = ChildProcesses();
    EXPECT_EQ(Reason(AskAndWait(one, Do("crash"))), "died");
    const int next = ProcessFor(one, "open", "/nowhere/2");
    EXPECT_EQ(ProcessFor(other, "open", "/nowhere/1"), kept);
    EXPECT_NE(ParentOf(next), program.at(0));
    EXPECT_EQ(ParentOf(kept), program.at(0));
    other.End();
    EXPECT_EQ(ParentOf(ProcessFor(other, "open", "/nowhere/1")), ParentOf(next));
    EXPECT_EQ(ChildProcesses(), std::vector<int>{ParentOf(next)});
}

/** A program that says why it does not start, as the worker's does. */
QString MakeProgramThatDoesNotStart(const QTemporaryDir& folder)
{
    QFile program(folder.filePath("worker"));
    EXPECT_TRUE(program.open(QFile::WriteOnly));
    program.write("#!/bin/sh\necho 'cannot start: it is tired' >&2\nexit 78\n");
    program.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
    return program.fileName();
}

TEST(WorkerProcessTest, TellsWhyItsProgramDoesNotStartWhoeverElseIsTold)
{
    const QTemporaryDir folder;
    const auto server =
        std::make_shared<WorkerServer>(WorkerSettings{MakeProgramThatDoesNotStart(folder)});
    WorkerProcess one(server);
    WorkerProcess other(server);
    Answers answers;
    for (WorkerProcess* worker : {&one, &other})
        worker->Ask({}, answers.For(worker == &one ? "one" : "other"));
    ASSERT_TRUE(answers.WaitForCount(2));
    for (const auto& answer : answers.byName) {
        EXPECT_EQ(Reason(answer.second), "not-started");
        EXPECT_EQ(answer.second["message"].toString(), "cannot start a worker: it is tired");
    }
}

TEST(WorkerProcessTest, TellsWhyItsProgramDoesNotStartWhereDeathsAreNotTold)
{
    const QTemporaryDir folder;
    const auto before = std::signal(SIGCHLD, SIG_IGN);
    {
        WorkerProcess worker({MakeProgramThatDoesNotStart(folder)});
        const QJsonObject answer = AskAndWait(worker, {});
        EXPECT_EQ(Reason(answer), "not-started");
        EXPECT_EQ(answer["message"].toString(), "cannot start a worker: it is tired");
    }
    std::signal(SIGCHLD, before);
}

TEST(WorkerProcessTest, TakesNoStandardStreamThatIsClosed)
{
    const int input = ::dup(STDIN_FILENO);
    ::close(STDIN_FILENO);
    {
        WorkerProcess worker({ScriptedWorker()});
        EXPECT_TRUE(AskAndWait(worker, {})["ok"].toBool());
        EXPECT_LT(::fcntl(STDIN_FILENO, F_GETFD), 0);
    }
    ::dup2(input, STDIN_FILENO);
    ::close(input);
}

TEST(WorkerProcessTest, EndsProcessesWhereACopyOfTheApplicationIsThere)
{
    auto worker = std::make_unique<WorkerProcess>(WorkerSettings{ScriptedWorker()});
    const int first = ProcessFor(*worker, "open", "/nowhere/1");
    const int program = ParentOf(first);
    const pid_t copy = ::fork();
    if (copy == 0) {
        ::pause();
        ::_exit(0);
    }
    ASSERT_GT(copy, 0);
    EXPECT_NE(ProcessFor(*worker, "open", "/nowhere/2"), first);
    EXPECT_TRUE(WaitUntil([first] { return HasEnded(first); }));
    QElapsedTimer time;
    time.start();
    worker.reset();
    EXPECT_TRUE(HasEnded(program));
    EXPECT_LT(time.elapsed(), 3000) << "it was killed";
    ::kill(copy, SIGKILL);
    EXPECT_EQ(::waitpid(copy, nullptr, 0), copy);
}

TEST(WorkerProcessTest, SharesAProgramWithThoseOfOtherThreads)
{
    const auto server = std::make_shared<WorkerServer>(WorkerSettings{ScriptedWorker()});
    std::atomic<int> answers{0};
    std::vector<std::unique_ptr<QThread>> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back(QThread::create([&server, &answers] {
            WorkerProcess worker(server);
            for (int round = 0; round < 50; ++round) {
                const QJsonObject request{{"op", "open"}, {"file", QString::number(round)}};
                answers += AskAndWait(worker, request)["ok"].toBool() ? 1 : 0;
                if (round % 5 == 0)
                    worker.End();
            }
        }));
        threads.back()->start();
    }
    for (const auto& thread : threads)
        thread->wait();
    EXPECT_EQ(answers, 200);
    EXPECT_EQ(ChildProcesses().size(), 1U);
}

TEST(WorkerProcessTest, OutlivesTheThreadOnWhichItsProgramWasStarted)
{
    const auto server = std::make_shared<WorkerServer>(WorkerSettings{ScriptedWorker()});
    std::thread([&server] { server->Prepare(); }).join();
    const std::vector<int> program = ChildProcesses();
    WorkerProcess worker(server);
    EXPECT_TRUE(AskAndWait(worker, {})["ok"].toBool());
    EXPECT_EQ(ChildProcesses(), program);
}

/** Whether a process has nothing open any more, and so can write nothing. */
bool HasLetGo(int pid)
{
    const auto all = QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System;
    return QDir(QStringLiteral("/proc/%1/fd").arg(pid)).entryList(all).isEmpty();
}

TEST(WorkerProcessTest, TellsThatItsProcessHasDiedWhereItsProgramWasKilledAndStartsAnother)
{
    const auto server = std::make_shared<WorkerServer>(WorkerSettings{ScriptedWorker()});
    WorkerProcess one(server);
    WorkerProcess other(server);
    Answers answers;
    for (WorkerProcess* worker : {&one, &other})
        worker->Ask(Do("fall-silent"), answers.For(worker == &one ? "one" : "other"));
    ASSERT_TRUE(WaitUntil([] { return Workers().size() == 2; }));
    const std::vector<int> workers = Workers();
    const std::vector<int> program = ChildProcesses();
    ASSERT_EQ(::kill(program.at(0), SIGKILL), 0);
    ASSERT_TRUE(answers.WaitForCount(2));
    for (const auto& answer : answers.byName)
        EXPECT_EQ(Reason(answer.second), "died");
    for (const int worker : workers)
        EXPECT_TRUE(HasLetGo(worker)) << "what it writes would be in the way of the next one";
    EXPECT_TRUE(AskAndWait(one, {})["ok"].toBool());
    EXPECT_TRUE(AskAndWait(other, {})["ok"].toBool());
    EXPECT_EQ(ChildProcesses().size(), 1U);
    EXPECT_NE(ChildProcesses(), program);
}

TEST(WorkerProcessTest, GetsNoProcessWhereItsProgramHasNoRoomForOne)
{
    WorkerProcess worker({WorkerWithout("fork=EAGAIN")});
    const QJsonObject answer = AskAndWait(worker, {});
    EXPECT_EQ(Reason(answer), "not-started");
    EXPECT_EQ(answer["message"].toString(),
              "cannot start a worker: there is no room for another process");
}

TEST(WorkerProcessTest, BelievesNoDocumentWhatItSaysOfTheNext)
{
    WorkerProcess worker({ScriptedWorker(), longDeadline});
    Answers answers;
    const QStringList files{"/nowhere/answer-ahead.1", "/nowhere/answer-ahead.2", "/nowhere/3"};
    for (const QString& file : files)
        worker.Ask({{"op", "open"}, {"file", file}}, answers.For(file));
    ASSERT_TRUE(answers.WaitForCount(3));
    for (const QString& file : files)
        EXPECT_FALSE(answers.byName[file].contains("forged")) << file.toStdString();
    EXPECT_NE(answers.byName[files[0]]["pid"], answers.byName[files[1]]["pid"]);
}

TEST(WorkerProcessTest, AsksANewProcessToLookAtAFileThatHasTakenTheOldOnesPlace)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("answer");
    ASSERT_TRUE(QFile(path).open(QFile::WriteOnly));
    ASSERT_TRUE(QFile(folder.filePath("other")).open(QFile::WriteOnly));
    WorkerProcess worker({ScriptedWorker(), longDeadline});
    const int first = ProcessFor(worker, "convert", path);
    EXPECT_EQ(ProcessFor(worker, "convert", path), first);
    ASSERT_EQ(std::rename(qPrintable(folder.filePath("other")), qPrintable(path)), 0);
    EXPECT_NE(ProcessFor(worker, "convert", path), first);
}

TEST(WorkerProcessTest, HandsAFailureOfTheWorkersOwnOver)
{
    WorkerProcess worker({ScriptedWorker()});
    EXPECT_EQ(Reason(AskAndWait(worker, Do("fail-with-no-such-page"))), "no-such-page");
}

TEST(WorkerProcessTest, AnswersManyRequestsInTheOrderInWhichTheyWereAsked)
{
    WorkerProcess worker({ScriptedWorker()});
    Answers answers;
    QStringList expected;
    for (int number = 0; number < 200; ++number) {
        expected.append(QString::number(number));
        worker.Ask({}, answers.For(expected.back()));
    }
    ASSERT_TRUE(answers.WaitForCount(200));
    EXPECT_EQ(answers.names, expected);
    EXPECT_EQ(answers.byName["199"]["served"].toInt(), 200) << "more than one process served them";
}

TEST(WorkerProcessTest, CarriesEveryCharacterInOneLine)
{
    WorkerProcess worker({ScriptedWorker()});
    const QString text =
        QString::fromUtf8("a\nb\r\n\t\"\\ \u00e9 \u4e2d \xF0\x9F\x98\x80") + QChar(0);
    const QJsonObject answer = AskAndWait(worker, {{"text", text}});
    EXPECT_EQ(answer["request"].toObject()["text"].toString(), text);
}

TEST(WorkerProcessTest, CarriesARequestLargerThanAnyPipe)
{
    WorkerProcess worker({ScriptedWorker()});
    const QString text(1 << 20, 'x');
    const QJsonObject answer = AskAndWait(worker, {{"text", text}});
    EXPECT_EQ(answer["request"].toObject()["text"].toString(), text);
}

TEST(WorkerProcessTest, WaitsForAnAnswerThatComesInPieces)
{
    WorkerProcess worker({ScriptedWorker(), longDeadline});
    EXPECT_TRUE(AskAndWait(worker, Do("answer-slowly"))["ok"].toBool());
}

TEST(WorkerProcessTest, GivesEveryRequestADeadlineOfItsOwn)
{
    WorkerProcess worker({ScriptedWorker(), 2s});
    Answers answers;
    for (int number = 0; number < 12; ++number)
        worker.Ask(Do("answer-slowly"), answers.For(QString::number(number)));
    ASSERT_TRUE(answers.WaitForCount(12)) << "twelve answers of a quarter of a second each";
    for (const auto& answer : answers.byName)
        EXPECT_TRUE(answer.second["ok"].toBool()) << answer.first.toStdString();
}

TEST(WorkerProcessTest, IsNotHeldUpByAWorkerThatComplains)
{
    const MessageCapture log;
    WorkerProcess worker({ScriptedWorker(), longDeadline});
    EXPECT_TRUE(AskAndWait(worker, Do("complain"))["ok"].toBool());
    EXPECT_TRUE(WaitUntil([&log] { return log.Text().find("eeee") != std::string::npos; }));
}

TEST(WorkerProcessTest, KeepsNoComplaintsThatNobodyLogs)
{
    WorkerProcess worker({ScriptedWorker(), longDeadline});
    for (int time = 0; time < 20; ++time)
        EXPECT_TRUE(AskAndWait(worker, Do("complain"))["ok"].toBool());
    const MessageCapture log;
    EXPECT_TRUE(AskAndWait(worker, Do("complain"))["ok"].toBool());
    EXPECT_TRUE(WaitUntil([&log] { return log.Text().find("eeee") != std::string::npos; }));
    EXPECT_LT(log.Text().size(), 10U << 20) << "it has complained in 21 times as much";
}

TEST(WorkerProcessTest, HasADeadlineHoweverLong)
{
    for (const std::chrono::milliseconds deadline : {30 * 24h, 24h * (1 << 20)}) {
        const MessageCapture log;
        WorkerProcess worker({ScriptedWorker(), deadline});
        EXPECT_TRUE(AskAndWait(worker, Do("answer-slowly"))["ok"].toBool());
        EXPECT_EQ(log.Text(), "");
    }
}

TEST(WorkerProcessTest, MovesToAnotherThreadWithItsProcess)
{
    QThread thread;
    thread.start();
    auto* const worker = new WorkerProcess({ScriptedWorker(), longDeadline});
    worker->Prepare();
    worker->moveToThread(&thread);
    QObject::connect(&thread, &QThread::finished, worker, &QObject::deleteLater);
    std::atomic<bool> isDone = false;
    QMetaObject::invokeMethod(worker, [&] {
        worker->Ask({}, [&](const QJsonObject& answer) { isDone = answer["ok"].toBool(); });
    });
    EXPECT_TRUE(WaitUntil([&] { return bool(isDone); }));
    thread.quit();
    thread.wait();
}

TEST(WorkerProcessTest, IsNotHeldUpByChildrenThatTheWorkerLeavesBehind)
{
    WorkerProcess worker({ScriptedWorker(), longDeadline});
    EXPECT_TRUE(AskAndWait(worker, Do("fork-noise"))["ok"].toBool());
    EXPECT_TRUE(AskAndWait(worker, {})["ok"].toBool());
    EXPECT_EQ(Reason(AskAndWait(worker, Do("fork-noise-and-die"))), "died");
    EXPECT_TRUE(AskAndWait(worker, {})["ok"].toBool());
}

struct Misbehaviour
{
    const char* what;
    const char* reason;
    std::chrono::milliseconds deadline = longDeadline;
};

std::ostream& operator<<(std::ostream& stream, const Misbehaviour& misbehaviour)
{
    return stream << misbehaviour.what;
}

const Misbehaviour misbehaviours[] = {{"die", "died"},
                                      {"crash", "died"},
                                      {"half-an-answer-and-die", "died"},
                                      {"fork-noise-and-die", "died"},
                                      {"run-out-of-memory", "out-of-memory"},
                                      {"run-out-of-time", "timed-out"},
                                      {"no-json", "rubbish"},
                                      {"empty-line", "rubbish"},
                                      {"array", "rubbish"},
                                      {"wrong-id", "rubbish"},
                                      {"text-as-id", "rubbish"},
                                      {"id-of-next", "rubbish"},
                                      {"no-id", "rubbish"},
                                      {"no-ok", "rubbish"},
                                      {"text-as-ok", "rubbish"},
                                      {"endless-line", "rubbish"},
                                      {"endless-lines", "rubbish"},
                                      {"half-an-answer", "timed-out", shortDeadline},
                                      {"fall-silent", "timed-out", shortDeadline},
                                      {"ignore-sigterm", "timed-out", shortDeadline},
                                      {"close-output", "timed-out", shortDeadline}};

class WorkerMisbehaves : public testing::TestWithParam<Misbehaviour>
{
};

INSTANTIATE_TEST_SUITE_P(WorkerProcessTest, WorkerMisbehaves, testing::ValuesIn(misbehaviours),
                         [](const auto& row) {
                             return QString(row.param.what).remove('-').toStdString();
                         });

TEST_P(WorkerMisbehaves, AnswersThatRequestOnceWithTheReasonAndTheNextOnesByANewProcess)
{
    const MessageCapture log;
    WorkerProcess worker({ScriptedWorker(), GetParam().deadline});
    Answers answers;
    worker.Ask({}, answers.For("before"));
    worker.Ask(Do(GetParam().what), answers.For("misbehaving"));
    ASSERT_TRUE(answers.WaitForCount(2));
    worker.Ask({}, answers.For("after"));
    worker.Ask({}, answers.For("after that"));
    ASSERT_TRUE(answers.WaitForCount(4));

    EXPECT_EQ(answers.names, QStringList({"before", "misbehaving", "after", "after that"}));
    EXPECT_EQ(Reason(answers.byName["misbehaving"]), GetParam().reason);
    EXPECT_FALSE(log.Text().empty());
    EXPECT_TRUE(answers.byName["after"]["ok"].toBool());
    EXPECT_EQ(answers.byName["after that"]["served"].toInt(), 2);
    EXPECT_NE(answers.byName["before"]["pid"], answers.byName["after"]["pid"]);
    worker.End();
    EXPECT_EQ(answers.names.size(), 4);
}

/** What a worker that says it has made a result has made. */
struct FalseResult
{
    const char* what;
    const char* reason;
};

std::ostream& operator<<(std::ostream& stream, const FalseResult& row)
{
    return stream << row.what;
}

class WorkerLiesOfItsResult : public testing::TestWithParam<FalseResult>
{
protected:
    static QJsonObject Ask(WorkerProcess& worker, const char* operation)
    {
        return AskAndWait(worker, {{"do", GetParam().what},
                                   {"op", operation},
                                   {"file", ResultPath()},
                                   {"output", ResultPath()}});
    }
};

INSTANTIATE_TEST_SUITE_P(
    WorkerProcessTest, WorkerLiesOfItsResult,
    testing::Values(FalseResult{"make-nothing", "rubbish"}, FalseResult{"make-empty", "rubbish"},
                    FalseResult{"make-folder", "rubbish"}, FalseResult{"make-link", "rubbish"},
                    FalseResult{"make-pipe", "rubbish"}, FalseResult{"make-set-user-id", "rubbish"},
                    FalseResult{"make-sparse", "too-large"},
                    FalseResult{"make-large", "too-large"}),
    [](const auto& row) { return QString(row.param.what).remove('-').toStdString(); });

TEST_P(WorkerLiesOfItsResult, AndIsEndedAndTheRequestFails)
{
    WorkerSettings settings{ScriptedWorker(), longDeadline};
    settings.largestResult = 1;
    WorkerProcess worker(settings);
    for (const char* operation : {"convert", "save"}) {
        EXPECT_EQ(Reason(Ask(worker, operation)), GetParam().reason) << operation;
        EXPECT_TRUE(Workers().empty());
    }
    EXPECT_TRUE(AskAndWait(worker, Do("answer"))["ok"].toBool());
}

TEST_P(WorkerLiesOfItsResult, ButAnySizeIsFineWithoutALimit)
{
    WorkerSettings settings{ScriptedWorker(), longDeadline};
    settings.largestResult = 0;
    WorkerProcess worker(settings);
    EXPECT_EQ(Ask(worker, "convert")["ok"].toBool(), std::string(GetParam().reason) == "too-large");
}

TEST_P(WorkerMisbehaves, AnswersRequestsThatWereWaitingBehindIt)
{
    WorkerProcess worker({ScriptedWorker(), GetParam().deadline});
    Answers answers;
    worker.Ask(Do(GetParam().what), answers.For("misbehaving"));
    worker.Ask({}, answers.For("waiting"));
    ASSERT_TRUE(answers.WaitForCount(2));
    EXPECT_EQ(answers.names, QStringList({"misbehaving", "waiting"}));
    EXPECT_TRUE(answers.byName["waiting"]["ok"].toBool());
}

TEST_P(WorkerMisbehaves, LetsTheReceiverDestroyTheWorkerProcess)
{
    auto worker =
        std::make_unique<WorkerProcess>(WorkerSettings{ScriptedWorker(), GetParam().deadline});
    Answers answers;
    worker->Ask(Do(GetParam().what), [&worker, &answers](const QJsonObject& answer) {
        worker.reset();
        answers.For("misbehaving")(answer);
    });
    worker->Ask({}, answers.For("waiting"));
    ASSERT_TRUE(answers.WaitForCount(2));
    EXPECT_EQ(answers.names, QStringList({"waiting", "misbehaving"}));
    EXPECT_EQ(Reason(answers.byName["waiting"]), "ended");
    EXPECT_EQ(Reason(answers.byName["misbehaving"]), GetParam().reason);
}

TEST(WorkerProcessTest, TakesASecondAnswerForRubbish)
{
    WorkerProcess worker({ScriptedWorker(), longDeadline});
    Answers answers;
    worker.Ask(Do("two-answers"), answers.For("first"));
    worker.Ask({}, answers.For("second"));
    worker.Ask({}, answers.For("third"));
    ASSERT_TRUE(answers.WaitForCount(3));
    EXPECT_EQ(answers.names, QStringList({"first", "second", "third"}));
    EXPECT_TRUE(answers.byName["first"]["ok"].toBool());
    EXPECT_EQ(Reason(answers.byName["second"]), "rubbish");
    EXPECT_TRUE(answers.byName["third"]["ok"].toBool());
}

TEST(WorkerProcessTest, TakesANewProcessWhereOneSaysThatItIsWorn)
{
    const QTemporaryDir folder;
    const auto ask = [&folder](const char* what) {
        return QJsonObject{{"op", "convert"},
                           {"file", folder.filePath("document")},
                           {"output", folder.filePath("result")},
                           {"do", what}};
    };
    WorkerProcess worker({ScriptedWorker()});
    const int first = AskAndWait(worker, ask("make-result"))["pid"].toInt();
    EXPECT_EQ(AskAndWait(worker, ask("wear-out"))["pid"].toInt(), first);
    const QJsonObject next = AskAndWait(worker, ask("make-result"));
    EXPECT_TRUE(next["ok"].toBool());
    EXPECT_NE(next["pid"].toInt(), first);
}

TEST(WorkerProcessTest, EndsAWorkerThatTalksUnasked)
{
    WorkerProcess worker({ScriptedWorker(), longDeadline});
    const QJsonObject first = AskAndWait(worker, Do("two-answers"));
    ASSERT_TRUE(WaitUntil([] { return Workers().empty(); }));
    const QJsonObject second = AskAndWait(worker, {});
    EXPECT_TRUE(second["ok"].toBool());
    EXPECT_NE(first["pid"], second["pid"]);
}

TEST(WorkerProcessTest, AnswersTheLastWordsOfAWorkerThatDiesOfThem)
{
    WorkerProcess worker({ScriptedWorker(), longDeadline});
    for (int number = 0; number < 20; ++number) {
        EXPECT_TRUE(AskAndWait(worker, Do("answer-and-die"))["ok"].toBool());
        ASSERT_TRUE(WaitUntil([] { return Workers().empty(); }));
    }
}

/**
 * Waits without handling an event, so that the death is news to the WorkerProcess. Only once the
 * program has waited for a worker, too, nobody holds its end of what leads there any more.
 */
void WaitForDeathOfAllWorkers()
{
    for (const int pid : Workers()) {
        while (::kill(pid, 0) == 0)
            std::this_thread::yield();
    }
}

TEST(WorkerProcessTest, AsksANewProcessAfterTheOldOneHasDiedUnnoticed)
{
    WorkerProcess worker({ScriptedWorker(), longDeadline});
    ASSERT_TRUE(AskAndWait(worker, Do("answer-and-die"))["ok"].toBool());
    WaitForDeathOfAllWorkers();
    EXPECT_TRUE(AskAndWait(worker, {})["ok"].toBool());
}

TEST(WorkerProcessTest, AsksANewProcessAfterTheOldOneHasDiedOfItsAnswer)
{
    const QTemporaryDir folder;
    WorkerProcess worker({ScriptedWorker(), longDeadline});
    Answers answers;
    worker.Ask({{"do", "answer-and-die"}, {"meet", folder.path()}}, answers.For("last words"));
    worker.Ask({}, answers.For("next"));
    ASSERT_TRUE(WaitUntil([&] { return QFile::exists(folder.filePath("received")); }));
    ASSERT_TRUE(QFile(folder.filePath("go")).open(QFile::WriteOnly));
    WaitForDeathOfAllWorkers();
    ASSERT_TRUE(answers.WaitForCount(2));
    EXPECT_TRUE(answers.byName["last words"]["ok"].toBool());
    EXPECT_TRUE(answers.byName["next"]["ok"].toBool());
}

TEST(WorkerProcessTest, AnswersARequestThatMeetsADyingWorker)
{
    WorkerProcess worker({ScriptedWorker(), longDeadline});
    for (int number = 0; number < 20; ++number) {
        Answers answers;
        worker.Ask(Do("answer-and-die"), answers.For("first"));
        worker.Ask({}, answers.For("second"));
        worker.Ask({}, answers.For("third"));
        ASSERT_TRUE(answers.WaitForCount(3));
        EXPECT_EQ(answers.names, QStringList({"first", "second", "third"}));
        EXPECT_TRUE(answers.byName["first"]["ok"].toBool());
        const QJsonObject second = answers.byName["second"];
        EXPECT_TRUE(second["ok"].toBool() || Reason(second) == "died");
        EXPECT_TRUE(answers.byName["third"]["ok"].toBool());
    }
}

TEST(WorkerProcessTest, AnswersARequestToAWorkerThatStoppedListening)
{
    WorkerProcess worker({ScriptedWorker(), shortDeadline});
    EXPECT_TRUE(AskAndWait(worker, Do("close-input"))["ok"].toBool());
    EXPECT_EQ(Reason(AskAndWait(worker, {})), "timed-out");
    EXPECT_TRUE(AskAndWait(worker, {})["ok"].toBool());
}

class WorkerProgramIsUnusable : public testing::Test
{
protected:
    void ExpectNotStarted(const QString& program)
    {
        WorkerProcess worker({program});
        bool asking = true;
        Answers answers;
        const auto receiver = [&](const QJsonObject& answer) {
            EXPECT_FALSE(asking) << "answered inside Ask";
            answers.For("request")(answer);
        };
        worker.Ask({}, receiver);
        worker.Ask({}, receiver);
        asking = false;
        ASSERT_TRUE(answers.WaitForCount(2));
        EXPECT_EQ(Reason(answers.byName["request"]), "not-started");
        worker.End();
        EXPECT_EQ(answers.names.size(), 2);
    }

    QString FileWith(const QByteArray& content, QFile::Permissions permissions)
    {
        QFile file(folder.filePath("program"));
        EXPECT_TRUE(file.open(QFile::WriteOnly) && file.write(content) == content.size());
        EXPECT_TRUE(file.setPermissions(permissions));
        return file.fileName();
    }

    QTemporaryDir folder;
};

TEST_F(WorkerProgramIsUnusable, BecauseItIsMissing)
{
    ExpectNotStarted(folder.filePath("missing"));
}

TEST_F(WorkerProgramIsUnusable, BecauseItIsAFolder)
{
    ExpectNotStarted(folder.path());
}

TEST_F(WorkerProgramIsUnusable, BecauseItMayNotBeExecuted)
{
    ExpectNotStarted(FileWith("#!/bin/sh\n", QFile::ReadOwner));
}

TEST_F(WorkerProgramIsUnusable, BecauseItIsNoProgram)
{
    ExpectNotStarted(FileWith("no program", QFile::ReadOwner | QFile::ExeOwner));
}

TEST_F(WorkerProgramIsUnusable, BecauseNoneWasFound)
{
    ASSERT_EQ(WorkerProcess::FindProgram(), QString()) << "nothing lies beside the test program";
    const MessageCapture log;
    ExpectNotStarted({});
    EXPECT_EQ(log.Text().find("QIODevice"), std::string::npos) << log.Text();
}

/** Peak memory of this process, in bytes. */
qint64 PeakOfMemory()
{
    rusage usage = {};
    ::getrusage(RUSAGE_SELF, &usage);
    return qint64(usage.ru_maxrss) * 1024;
}

class WorkerProgramFloods : public WorkerProgramIsUnusable,
                            public testing::WithParamInterface<const char*>
{
protected:
    /** A program that says "y" for ever and heeds no SIGTERM. */
    QString Program()
    {
        const QString script = QString("#!/bin/sh\ntrap '' TERM\nexec /usr/bin/yes %1\n");
        return FileWith(script.arg(GetParam()).toLatin1(), QFile::ReadOwner | QFile::ExeOwner);
    }

    /** A sanitizer keeps what was given back for a while. */
    static constexpr qint64 aLittle = isSanitized ? 512 << 20 : 32 << 20;
};

INSTANTIATE_TEST_SUITE_P(WorkerProcessTest, WorkerProgramFloods, testing::Values(">&1", ">&2"),
                         [](const auto& row) {
                             return row.index == 0 ? "StandardOutput" : "StandardError";
                         });

TEST_P(WorkerProgramFloods, AndIsEndedInTimeWithoutMemoryForWhatItSays)
{
    WorkerProcess worker({Program(), 2s});
    const qint64 before = PeakOfMemory();
    QElapsedTimer timer;
    timer.start();
    EXPECT_THAT(Reason(AskAndWait(worker, {})), testing::AnyOf("rubbish", "timed-out"));
    EXPECT_TRUE(ChildProcesses().empty());
    EXPECT_LT(timer.elapsed(), 30'000);
    EXPECT_LT(PeakOfMemory() - before, aLittle);
}

TEST(WorkerProcessReceiverTest, MayAskAgain)
{
    WorkerProcess worker({ScriptedWorker()});
    Answers answers;
    worker.Ask({}, [&](const QJsonObject& answer) {
        worker.Ask({}, answers.For("inner"));
        answers.For("outer")(answer);
    });
    worker.Ask({}, answers.For("next"));
    ASSERT_TRUE(answers.WaitForCount(3));
    EXPECT_EQ(answers.names, QStringList({"outer", "next", "inner"}));
    EXPECT_EQ(answers.byName["inner"]["served"].toInt(), 3);
}

TEST(WorkerProcessReceiverTest, MayDestroyTheWorkerProcess)
{
    auto worker = std::make_unique<WorkerProcess>(WorkerSettings{ScriptedWorker()});
    Answers answers;
    worker->Ask({}, [&](const QJsonObject& answer) {
        worker.reset();
        EXPECT_TRUE(ChildProcesses().empty());
        answers.For("first")(answer);
    });
    worker->Ask({}, answers.For("second"));
    ASSERT_TRUE(answers.WaitForCount(2));
    EXPECT_EQ(answers.names, QStringList({"second", "first"}));
    EXPECT_EQ(Reason(answers.byName["second"]), "ended");
}

TEST(WorkerProcessReceiverTest, MayDestroyTheWorkerProcessWhoseProgramIsMissing)
{
    auto worker = std::make_unique<WorkerProcess>(WorkerSettings{"/missing/program"});
    Answers answers;
    worker->Ask({}, [&](const QJsonObject& answer) {
        worker.reset();
        answers.For("first")(answer);
    });
    ASSERT_TRUE(answers.WaitForCount(1));
    EXPECT_EQ(Reason(answers.byName["first"]), "not-started");
}

TEST(WorkerProcessReceiverTest, MayEndTheWorkerProcess)
{
    WorkerProcess worker({ScriptedWorker()});
    Answers answers;
    worker.Ask({}, [&](const QJsonObject& answer) {
        worker.End();
        answers.For("first")(answer);
    });
    worker.Ask({}, answers.For("second"));
    ASSERT_TRUE(answers.WaitForCount(2));
    EXPECT_EQ(answers.names, QStringList({"second", "first"}));
    EXPECT_TRUE(AskAndWait(worker, {})["ok"].toBool());
}

TEST(WorkerProcessReceiverTest, MayRunAnEventLoopAndWaitForAFurtherAnswer)
{
    WorkerProcess worker({ScriptedWorker(), longDeadline});
    Answers answers;
    worker.Ask({}, [&](const QJsonObject& answer) {
        EXPECT_TRUE(AskAndWait(worker, {})["ok"].toBool());
        EXPECT_EQ(Reason(AskAndWait(worker, Do("die"))), "died");
        answers.For("outer")(answer);
    });
    ASSERT_TRUE(answers.WaitForCount(1));
    EXPECT_TRUE(AskAndWait(worker, {})["ok"].toBool());
}

TEST(WorkerProcessEndTest, AnswersEveryOpenRequestBeforeItReturns)
{
    WorkerProcess worker({ScriptedWorker()});
    ASSERT_TRUE(AskAndWait(worker, {})["ok"].toBool());
    Answers answers;
    for (const char* name : {"running", "waiting", "last"})
        worker.Ask(Do("fall-silent"), answers.For(name));
    worker.End();
    EXPECT_EQ(answers.names, QStringList({"running", "waiting", "last"}));
    for (const auto& answer : answers.byName)
        EXPECT_EQ(Reason(answer.second), "ended");
    EXPECT_TRUE(Workers().empty());
}

TEST(WorkerProcessEndTest, AnswersARequestWhoseProcessHasHardlyStarted)
{
    WorkerProcess worker({ScriptedWorker()});
    Answers answers;
    worker.Ask({}, answers.For("request"));
    worker.End();
    EXPECT_EQ(answers.names, QStringList("request"));
    EXPECT_EQ(Reason(answers.byName["request"]), "ended");
    EXPECT_TRUE(Workers().empty());
    QCoreApplication::processEvents();
    EXPECT_EQ(answers.names.size(), 1);
}

TEST(WorkerProcessEndTest, AnswersOnceWhereTheProcessCouldNotStart)
{
    WorkerProcess worker({"/missing/program"});
    Answers answers;
    worker.Ask({}, answers.For("request"));
    worker.End();
    worker.Ask({}, answers.For("later"));
    ASSERT_TRUE(answers.WaitForCount(2));
    EXPECT_EQ(Reason(answers.byName["request"]), "ended");
    EXPECT_EQ(Reason(answers.byName["later"]), "not-started");
}

TEST(WorkerProcessEndTest, IsNothingWhereNothingRuns)
{
    WorkerProcess worker({ScriptedWorker()});
    worker.End();
    worker.End();
    EXPECT_TRUE(AskAndWait(worker, {})["ok"].toBool());
}

TEST(WorkerProcessEndTest, LetsALaterRequestStartTheProcessAgain)
{
    WorkerProcess worker({ScriptedWorker()});
    const QJsonObject before = AskAndWait(worker, {});
    worker.End();
    const QJsonObject after = AskAndWait(worker, {});
    EXPECT_NE(before["pid"], after["pid"]);
    EXPECT_EQ(after["served"].toInt(), 1);
}

TEST(WorkerProcessEndTest, LetsAReceiverAskAgain)
{
    WorkerProcess worker({ScriptedWorker()});
    Answers answers;
    worker.Ask(Do("fall-silent"), [&](const QJsonObject& answer) {
        worker.Ask({}, answers.For("again"));
        answers.For("first")(answer);
    });
    worker.Ask({}, answers.For("second"));
    worker.End();
    EXPECT_EQ(answers.names, QStringList({"first", "second"}));
    ASSERT_TRUE(answers.WaitForCount(3));
    EXPECT_TRUE(answers.byName["again"]["ok"].toBool());
}

TEST(WorkerProcessEndTest, LetsAReceiverDestroyTheWorkerProcess)
{
    auto worker = std::make_unique<WorkerProcess>(WorkerSettings{ScriptedWorker()});
    Answers answers;
    worker->Ask({}, [&](const QJsonObject& answer) {
        worker.reset();
        answers.For("first")(answer);
    });
    worker->Ask({}, answers.For("second"));
    worker->End();
    EXPECT_EQ(answers.names, QStringList({"first", "second"}));
}

TEST(WorkerProcessDestructorTest, AnswersEveryOpenRequestBeforeItReturns)
{
    Answers answers;
    {
        WorkerProcess worker({ScriptedWorker()});
        worker.Ask(Do("ignore-sigterm"), answers.For("running"));
        worker.Ask({}, answers.For("waiting"));
    }
    EXPECT_EQ(answers.names, QStringList({"running", "waiting"}));
    EXPECT_EQ(Reason(answers.byName["waiting"]), "ended");
    EXPECT_TRUE(ChildProcesses().empty());
}

TEST(WorkerProcessDestructorTest, AnswersARequestThatAReceiverMakesMeanwhile)
{
    Answers answers;
    {
        WorkerProcess worker({ScriptedWorker()});
        worker.Ask({}, [&](const QJsonObject&) { worker.Ask({}, answers.For("again")); });
    }
    EXPECT_EQ(answers.names, QStringList("again"));
    EXPECT_EQ(Reason(answers.byName["again"]), "ended");
    EXPECT_TRUE(ChildProcesses().empty());
}

TEST(WorkerProcessDestructorTest, LeavesNoProcessAndNoDescriptorBehindAfterManyRestarts)
{
    AskAndWait(*std::make_unique<WorkerProcess>(WorkerSettings{ScriptedWorker()}), {});
    const int descriptors = CountOpenDescriptors();
    {
        WorkerProcess worker({ScriptedWorker()});
        for (int round = 0; round < 20; ++round) {
            AskAndWait(worker, {});
            worker.End();
            AskAndWait(worker, Do("die"));
            AskAndWait(worker, Do("no-json"));
            WorkerProcess missing({"/missing/program"});
            AskAndWait(missing, {});
        }
        EXPECT_TRUE(Workers().empty());
    }
    EXPECT_TRUE(ChildProcesses().empty());
    EXPECT_EQ(CountOpenDescriptors(), descriptors);
}

TEST(WorkerProcessDestructorTest, LeavesNothingRunningOfAProcessThatLookedAtNothing)
{
    for (int round = 0; round < 50; ++round) {
        auto worker = std::make_unique<WorkerProcess>(WorkerSettings{ScriptedWorker()});
        const int child = AskAndWait(*worker, {})["pid"].toInt();
        worker.reset();
        ASSERT_TRUE(HasEnded(child)) << "in round " << round;
    }
}

/** Runs a copy of the program that prints what FindProgram answers, in a folder of its own. */
class FindProgramTest : public testing::Test
{
protected:
    FindProgramTest() { EXPECT_TRUE(QFile::copy(FIND_WORKER, folder.filePath("FindWorker"))); }

    void MakeProgram(const QString& path)
    {
        EXPECT_TRUE(QDir().mkpath(QFileInfo(path).path()));
        EXPECT_TRUE(QFile::copy(ScriptedWorker(), path));
    }

    QString Find(const QString& libraryFolder = {})
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("LD_LIBRARY_PATH", libraryFolder);
        QProcess finder;
        finder.setProcessEnvironment(environment);
        finder.start(folder.filePath("FindWorker"), QStringList());
        EXPECT_TRUE(finder.waitForFinished());
        complaint = QString::fromUtf8(finder.readAllStandardError());
        return QFile::decodeName(finder.readAllStandardOutput());
    }

    const QTemporaryDir folder;
    /** What the program has complained of last. */
    QString complaint;
};

TEST_F(FindProgramTest, SaysWhereAMissingProgramWasLookedFor)
{
    const QString libraries = folder.filePath(LIBDIR);
    EXPECT_TRUE(QDir().mkpath(libraries));
    EXPECT_TRUE(QFile::copy(QFileInfo(CONVERTER_SERVICES).canonicalFilePath(),
                            libraries + "/" + QFileInfo(CONVERTER_SERVICES).fileName()));
    EXPECT_EQ(Find(libraries), QString());
    EXPECT_TRUE(complaint.contains("there is no program pdfconvert-worker in " + folder.path() +
                                   ", nor in " + folder.filePath(LIBEXECDIR)))
        << complaint.toStdString();
}

TEST_F(FindProgramTest, FindsNothingWhereThereIsNone)
{
    EXPECT_EQ(Find(), QString());
}

TEST_F(FindProgramTest, FindsTheProgramBesideTheRunningOne)
{
    MakeProgram(folder.filePath("pdfconvert-worker"));
    EXPECT_EQ(Find(), folder.filePath("pdfconvert-worker"));
}

TEST_F(FindProgramTest, PassesOverWhatCannotBeExecuted)
{
    QFile file(folder.filePath("pdfconvert-worker"));
    ASSERT_TRUE(file.open(QFile::WriteOnly));
    EXPECT_EQ(Find(), QString());
}

TEST_F(FindProgramTest, PassesOverAFolderOfThatName)
{
    ASSERT_TRUE(QDir(folder.path()).mkdir("pdfconvert-worker"));
    EXPECT_EQ(Find(), QString());
}

TEST_F(FindProgramTest, FindsTheProgramInTheLibexecFolderOfTheLibrary)
{
    const QFileInfo library(CONVERTER_SERVICES);
    const QString copy = folder.filePath(LIBDIR "/") + library.fileName();
    ASSERT_TRUE(QDir(folder.path()).mkpath(LIBDIR));
    ASSERT_TRUE(QFile::copy(library.filePath(), copy));
    const QString program = folder.filePath(LIBEXECDIR "/pdfconvert-worker");
    MakeProgram(program);
    const QString found = Find(QFileInfo(copy).path());
    EXPECT_EQ(QFileInfo(found).canonicalFilePath(), program);
}

} // namespace Korvel::PDF::Test
