#include "FailingAllocation.h"
#include "Futures.h"
#include "GetNextAvaliableIndex.h"
#include "WrapperFixture.h"

#include <algorithm>
#include <limits>
#include <new>
#include <optional>
#include <set>

#include <QDir>

// Whichever allocation fails while a wrapper is at work: at most bad_alloc leaves the call, nothing
// is lost or left over, and the same once more succeeds. One thing may stay behind: the unencrypted
// copy whose task could not be copied, which happens only after the save. Services and receivers
// have memory enough here; what they throw is the fault matrix's matter.

namespace Korvel::PDF::Test {

namespace {

using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

/** The number of a folder that could not be listed, as a pattern. */
const std::string numberOfNoFile = "[1-9][0-9]{14}";

class SparedNames : public FakeNameGenerator
{
public:
    using FakeNameGenerator::FakeNameGenerator;

    std::string GenerateFileName() override
    {
        const SparedAllocations spared;
        return FakeNameGenerator::GenerateFileName();
    }
};

class SparedFiles : public FakeFileSystem
{
public:
    using FakeFileSystem::FakeFileSystem;

    ioPath GetTempFolder() override
    {
        const SparedAllocations spared;
        return FakeFileSystem::GetTempFolder();
    }

    bool RemoveFolder(const ioPath& folder) override
    {
        const SparedAllocations spared;
        return FakeFileSystem::RemoveFolder(folder);
    }

    bool Exists(const ioPath& path) override
    {
        const SparedAllocations spared;
        return FakeFileSystem::Exists(path);
    }

    bool Move(const ioPath& from, const ioPath& to) override
    {
        const SparedAllocations spared;
        return FakeFileSystem::Move(from, to);
    }

    bool CreateFolder(const ioPath& folder) override
    {
        const SparedAllocations spared;
        return FakeFileSystem::CreateFolder(folder);
    }
};

class SparedPdfs : public FakePdfProvider
{
public:
    using FakePdfProvider::FakePdfProvider;

    std::future<DocumentHandle> OpenDocument(const ioPath& file,
                                             const std::string& password) override
    {
        const SparedAllocations spared;
        return FakePdfProvider::OpenDocument(file, password);
    }

    std::future<bool> SaveDocument(const DocumentHandle& document, const ioPath& file) override
    {
        const SparedAllocations spared;
        return FakePdfProvider::SaveDocument(document, file);
    }

    std::future<bool> CloseDocument(const DocumentHandle& document) override
    {
        const SparedAllocations spared;
        return FakePdfProvider::CloseDocument(document);
    }
};

class SparedConverter : public FakeConverter
{
public:
    using FakeConverter::FakeConverter;

    bool ConvertFile(const Task& task) override
    {
        const SparedAllocations spared;
        return FakeConverter::ConvertFile(task);
    }

protected:
    void connectNotify(const QMetaMethod& signal) override
    {
        const SparedAllocations spared;
        FakeConverter::connectNotify(signal);
    }
};

/** Calls `receive` for every signal of `sender`, as long as `context` lives. */
void OnEverySignal(const AbstractConverter& sender, const QObject* context,
                   const std::function<void()>& receive)
{
    using C = AbstractConverter;
    const auto call = [&](auto signal) {
        QObject::connect(&sender, signal, context, [receive] { receive(); });
    };
    call(&C::UploadProgress);
    call(&C::DownloadProgress);
    call(&C::ConvertationStarted);
    call(&C::ConvertationProgress);
    call(&C::ConvertationFinished);
    call(&C::Failed);
    call(qOverload<const QString&, QString>(&C::Finished));
    call(qOverload<const QString&, QStringList>(&C::Finished));
}

/** A stack of wrappers that is at work while an allocation fails. */
class Trial : public WrapperFixture
{
public:
    explicit Trial(const Stack& stack) : stack(stack)
    {
        names = std::make_shared<SparedNames>(journal);
        files = std::make_shared<SparedFiles>(folder.path().toStdString(), journal);
        pdfs = std::make_shared<SparedPdfs>(journal);
        converter = std::make_shared<SparedConverter>(journal);
        files->files["result.png"] = "result";
    }

    void TestBody() override {}

    void Build()
    {
        std::shared_ptr<AbstractConverter> built = converter;
        for (auto wrapper = stack.wrappers.rbegin(); wrapper != stack.wrappers.rend(); ++wrapper)
            built = MakeAround(built, *wrapper);
        outermost = std::move(built);
    }

    /** Receivers have memory enough: the first spares them, the last one stops that. */
    void Listen()
    {
        OnEverySignal(*outermost, &receiver, [this] { sparedReceivers.emplace(); });
        Record(*outermost);
        OnEverySignal(*outermost, &receiver, [this] { sparedReceivers.reset(); });
    }

    void Prepare()
    {
        Build();
        Listen();
    }

    bool Start() { return outermost->ConvertFile(task); }

    /** The path under which the innermost converter knows the task. */
    QString InnerSource() const { return converter->tasks.back().source; }

    int Count(Wrapper wrapper) const
    {
        return int(std::count(stack.wrappers.begin(), stack.wrappers.end(), wrapper));
    }

    bool Has(Wrapper wrapper) const { return Count(wrapper) > 0; }

    /** How many allocations the wrappers need to copy the task behind a save. */
    int AllocationsAfterASave() const
    {
        const FailingAllocation counting(std::numeric_limits<int>::max(), false);
        const Task copy = task;
        return counting.Made() * Count(Wrapper::Unencrypt);
    }

    std::vector<QString> Copies() const
    {
        std::vector<QString> copies;
        for (const QString& name : QDir(folder.path()).entryList(QDir::Files)) {
            if (name != "source.pdf")
                copies.push_back(Path(name));
        }
        return copies;
    }

    /** No document stays open, no folder without a wrapper, and at most one copy without an entry.
     */
    void ExpectThatNothingIsLost()
    {
        EXPECT_THAT(pdfs->documents, IsEmpty());
        if (!outermost) {
            EXPECT_THAT(files->folders, ElementsAre(folder.path().toStdString()));
        }
        std::vector<QString> withoutEntry;
        for (const QString& copy : Copies()) {
            Q_EMIT converter->ConvertationStarted(copy);
            ASSERT_FALSE(received.empty());
            if (received.back() == "ConvertationStarted " + copy.toStdString()) {
                withoutEntry.push_back(copy);
            } else {
                EXPECT_EQ(received.back(), "ConvertationStarted " + task.source.toStdString());
            }
            received.pop_back();
        }
        EXPECT_LE(withoutEntry.size(), 1u);
        leavesACopy = leavesACopy || !withoutEntry.empty();
    }

    bool IsReported() const
    {
        return std::any_of(received.begin(), received.end(), [this](const std::string& line) {
            return line.find(' ' + task.source.toStdString()) != std::string::npos;
        });
    }

    /**
     * Starts the task again where its end was not reported, with the files that there were before:
     * an outer wrapper failed. To the inner one that was a receiver that throws, and to that one
     * the task has ended.
     */
    void Restart(const std::map<std::string, std::string>& filesBefore)
    {
        ASSERT_GT(stack.wrappers.size(), 1u);
        TakeReceived();
        files->files = filesBefore;
        isRestarted = true;
        ASSERT_TRUE(Start());
    }

    /** Of a task that was started again the first copy may still lie there. */
    void ExpectThatTheCopyIsGone()
    {
        if (isRestarted)
            ExpectThatNothingIsLost();
        else
            EXPECT_THAT(Copies(), IsEmpty());
    }

    /** Ends the task that was started last, and finds it reported as if nothing had been. */
    void ExpectThatTheTaskEnds()
    {
        TakeReceived();
        const QString copy = InnerSource();
        Q_EMIT converter->Finished(copy, QStringLiteral("result.png"));
        const std::string result = Has(Wrapper::TempFile) ? "/out/page.png" : "result.png";
        EXPECT_THAT(TakeReceived(),
                    ElementsAre("FinishedFile " + task.source.toStdString() + ' ' + result));
        if (copy != task.source) {
            EXPECT_FALSE(QFile::exists(copy));
        }
    }

    const Stack stack;
    Task task = MakeTask();
    bool isAccepted = false;
    bool isRestarted = false;
    /** Whether an unencrypted copy without an entry was seen. */
    bool leavesACopy = false;
    std::shared_ptr<AbstractConverter> outermost;

    using WrapperFixture::converter;
    using WrapperFixture::files;
    using WrapperFixture::folder;
    using WrapperFixture::pdfs;
    using WrapperFixture::received;
    using WrapperFixture::TakeReceived;

private:
    std::optional<SparedAllocations> sparedReceivers;
};

/** What a wrapper does while an allocation fails, and again when that has failed. */
struct Scenario
{
    std::string name;
    std::function<void(Trial&)> prepare;
    std::function<void(Trial&)> work;
    /** Called when the work has been done, whether at once or on the second attempt. */
    std::function<void(Trial&)> check;
    bool endsTask = false;
    bool unencrypts = false;
};

void StartTask(Trial& trial)
{
    trial.isAccepted = trial.Start();
}

void ExpectThatTheStartedTaskEnds(Trial& trial)
{
    EXPECT_TRUE(trial.isAccepted);
    trial.ExpectThatTheTaskEnds();
}

void PrepareTask(Trial& trial)
{
    trial.Prepare();
    ASSERT_TRUE(trial.Start());
}

Scenario RefusedStart(const char* name, const std::function<void(Trial&)>& prepare)
{
    const auto check = [](Trial& trial) {
        EXPECT_EQ(trial.isAccepted, !trial.Has(Wrapper::Unencrypt));
    };
    return {name,
            [prepare](Trial& trial) {
                trial.Prepare();
                prepare(trial);
            },
            StartTask, check};
}

Scenario Relay(const ConverterSignal& signal)
{
    const auto work = [signal](Trial& trial) {
        signal.emitFrom(*trial.converter, trial.InnerSource());
    };
    const auto check = [signal](Trial& trial) {
        const std::string source = trial.task.source.toStdString();
        std::string line = signal.Line(trial.task.source);
        if (trial.Has(Wrapper::TempFile) && signal.name == "FinishedFile")
            line = "FinishedFile " + source + " /out/page.png";
        if (trial.Has(Wrapper::TempFile) && signal.name == "FinishedFiles")
            line = "FinishedFiles " + source + " []";
        EXPECT_THAT(trial.TakeReceived(), ElementsAre(line));
        if (signal.endsTask)
            trial.ExpectThatTheCopyIsGone();
    };
    return {signal.name, PrepareTask, work, check, signal.endsTask};
}

/** A result comes after `prepare`; a temporary-file wrapper reports what matches `result`. */
Scenario Result(const char* name, const std::function<void(Trial&)>& prepare,
                const std::string& result)
{
    const auto work = [](Trial& trial) {
        Q_EMIT trial.converter->Finished(trial.InnerSource(), QStringLiteral("result.png"));
    };
    const auto check = [result](Trial& trial) {
        const std::string start = "FinishedFile " + trial.task.source.toStdString() + ' ';
        const std::vector<std::string> reported = trial.TakeReceived();
        ASSERT_THAT(reported, ElementsAre(StartsWith(start)));
        EXPECT_THAT(reported.front().substr(start.size()),
                    MatchesRegex(trial.Has(Wrapper::TempFile) ? result : "result\\.png"));
        trial.ExpectThatTheCopyIsGone();
    };
    return {name,
            [prepare](Trial& trial) {
                PrepareTask(trial);
                prepare(trial);
            },
            work, check, true};
}

std::vector<Scenario> Scenarios()
{
    std::vector<Scenario> scenarios;
    scenarios.push_back({"Construction", [](Trial&) {}, [](Trial& trial) { trial.Build(); },
                         [](Trial& trial) {
                             trial.Listen();
                             ASSERT_TRUE(trial.Start());
                             trial.ExpectThatTheTaskEnds();
                         }});
    scenarios.push_back({"Start", [](Trial& trial) { trial.Prepare(); }, StartTask,
                         ExpectThatTheStartedTaskEnds, false, true});
    scenarios.push_back({"StartWithoutOptions",
                         [](Trial& trial) {
                             trial.Prepare();
                             trial.task.options.clear();
                         },
                         StartTask, ExpectThatTheStartedTaskEnds});
    scenarios.push_back(RefusedStart("RefusedOpening", [](Trial& trial) {
        trial.task.options["password"] = std::string("a wrong one");
    }));
    scenarios.push_back(RefusedStart("RefusedSaving", [](Trial& trial) {
        trial.pdfs->save = [] {
            return Ready(false);
        };
    }));
    for (const ConverterSignal& signal : ConverterSignals())
        scenarios.push_back(Relay(signal));
    scenarios.push_back(Result(
        "ResultWithANumber", [](Trial& trial) { trial.files->files["/out/page.png"] = "older"; },
        R"(/out/page\((2|)" + numberOfNoFile + R"()\)\.png)"));
    scenarios.push_back(Result(
        "ResultThatStaysWhereItIs", [](Trial& trial) { trial.files->movesFiles = false; }, ""));
    scenarios.push_back({"ResultWithoutATask", [](Trial& trial) { trial.Prepare(); },
                         [](Trial& trial) {
                             Q_EMIT trial.converter->Finished(QStringLiteral("unknown.pdf"),
                                                              QStringLiteral("result.png"));
                         },
                         [](Trial& trial) {
                             EXPECT_EQ(trial.TakeReceived().empty(), trial.Has(Wrapper::TempFile));
                         }});
    scenarios.push_back({"Destruction", PrepareTask, [](Trial& trial) { trial.outermost.reset(); },
                         [](Trial& trial) {
                             EXPECT_EQ(trial.files->folders.size(), 1u);
                         }});
    return scenarios;
}

struct Parameter
{
    Stack stack;
    Scenario scenario;
    bool andAllThatFollow;
};

std::ostream& operator<<(std::ostream& stream, const Parameter& parameter)
{
    return stream << parameter.stack.name << '_' << parameter.scenario.name
                  << (parameter.andAllThatFollow ? "_AndAllThatFollow" : "");
}

std::vector<Parameter> Parameters()
{
    std::vector<Parameter> parameters;
    for (const Stack& stack : AllStacks()) {
        for (const Scenario& scenario : Scenarios()) {
            parameters.push_back({stack, scenario, false});
            parameters.push_back({stack, scenario, true});
        }
    }
    return parameters;
}

class FailingAllocationTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (AreReplacedByValgrind())
            GTEST_SKIP() << "no allocation fails";
    }
};

class AllocationFailureTest : public testing::TestWithParam<Parameter>
{
public:
    static void SetUpTestSuite()
    {
        SilenceLog("AllocationFailureTest");
        FLAGS_v = 30; // everything is written
    }

protected:
    /** Whether the work takes that many allocations; 0 lets none fail. */
    bool Reaches(int number)
    {
        const Scenario& scenario = GetParam().scenario;
        Trial trial(GetParam().stack);
        scenario.prepare(trial);
        const auto filesBefore = trial.files->files;
        bool isReached = false;
        bool isDone = true;
        {
            const FailingAllocation failing(number, GetParam().andAllThatFollow);
            try {
                scenario.work(trial);
            } catch (const std::bad_alloc&) {
                isDone = false;
            }
            isReached = failing.IsReached();
        }
        if (!isDone) {
            trial.ExpectThatNothingIsLost();
            scenario.work(trial);
            if (scenario.endsTask && !trial.IsReported()) {
                trial.Restart(filesBefore);
                scenario.work(trial);
            }
        }
        scenario.check(trial);
        if (trial.leavesACopy)
            leavingACopy.insert(number);
        return isReached;
    }

    /** The allocations whose failure left a copy without an entry. */
    std::set<int> leavingACopy;
};

} // namespace

INSTANTIATE_TEST_SUITE_P(, AllocationFailureTest, testing::ValuesIn(Parameters()),
                         [](const auto& parameter) {
                             return testing::PrintToString(parameter.param);
                         });

TEST_P(AllocationFailureTest, LosesNothingAndLeavesNothing)
{
    Reaches(0);
    long blocks = CountBlocks();
    int number = 1;
    for (; Reaches(number) && !HasFailure(); ++number) {
        if (CountBlocks() != blocks) {
            // Some things are made once and kept, for the throwing too.
            blocks = CountBlocks();
            Reaches(number);
            EXPECT_EQ(CountBlocks(), blocks) << "leaked after allocation " << number;
        }
    }
    RecordProperty("allocations", number - 1);

    const bool unencrypts = GetParam().scenario.unencrypts;
    const int expected = unencrypts ? Trial(GetParam().stack).AllocationsAfterASave() : 0;
    EXPECT_EQ(leavingACopy.empty(), expected == 0);
    // Where all that follow fail, the copying fails with those of the record before it, too.
    if (!GetParam().andAllThatFollow) {
        EXPECT_EQ(int(leavingACopy.size()), expected);
    }
}

TEST_F(FailingAllocationTest, LeavesANumberToBeAnsweredThatIsNotTaken)
{
    const QTemporaryDir folder;
    for (const char* name : {"report(2).pdf", "report(3).pdf"})
        ASSERT_TRUE(QFile(folder.filePath(name)).open(QIODevice::WriteOnly));
    const ioPath path(folder.path().toStdString());
    const std::regex pattern(R"(report\((\d+)\)\.pdf)");
    for (const bool andAllThatFollow : {false, true}) {
        bool isReached = true;
        int number = 1;
        for (; isReached; ++number) {
            const FailingAllocation failing(number, andAllThatFollow);
            const std::string index = Util::GetNextAvaliableIndex(path, pattern);
            isReached = failing.IsReached();
            const SparedAllocations spared;
            EXPECT_THAT(index, AnyOf("4", MatchesRegex(numberOfNoFile))) << number;
            EXPECT_TRUE(isReached || index == "4");
        }
        EXPECT_GT(number, 2) << "some allocation failed";
    }
}

TEST_F(FailingAllocationTest, FailsTheAllocationOfThatNumber)
{
    const FailingAllocation failing(2, false);
    EXPECT_NO_THROW(std::make_unique<int>());
    EXPECT_FALSE(failing.IsReached());
    EXPECT_THROW(std::make_unique<int>(), std::bad_alloc);
    EXPECT_TRUE(failing.IsReached());
    EXPECT_NO_THROW(std::make_unique<int>());
}

TEST_F(FailingAllocationTest, FailsAllThatFollowWhereWanted)
{
    const FailingAllocation failing(1, true);
    EXPECT_THROW(std::make_unique<int>(), std::bad_alloc);
    EXPECT_THROW(std::make_unique<int>(), std::bad_alloc);
}

TEST_F(FailingAllocationTest, SparesTheTestsOwn)
{
    const FailingAllocation failing(1, true);
    const SparedAllocations spared;
    EXPECT_NO_THROW(std::make_unique<int>());
}

TEST_F(FailingAllocationTest, FailsQtsAllocations)
{
    if (!failsMalloc)
        GTEST_SKIP() << "Qt's texts are allocated by malloc, which does not fail in this build";
    const FailingAllocation failing(1, true);
    EXPECT_THROW(QString(100, QLatin1Char('a')), std::bad_alloc);
}

} // namespace Korvel::PDF::Test
