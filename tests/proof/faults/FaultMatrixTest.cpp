#include "CopiedOption.h"
#include "ExpectedCourse.h"
#include "Futures.h"

#include <algorithm>
#include <stdexcept>

#include <QDir>

// Every operation that the wrappers call, ended in every way, in every shape of a chain: what then
// happens is what the contract says, from the first call to the last share that is given up.

namespace Korvel::PDF::Test {

namespace {

/** The ways to end that make sense for an operation. */
enum Kind : unsigned { refusing = 1, throwing = 2, late = 4, callingBack = 8 };

struct OperationRow
{
    Operation operation;
    unsigned kinds;
};

// An exception of RemoveFolder is not among them: the folder is removed by a destructor, which ends
// the program then, and a service that throws there breaks its contract.
const OperationRow operations[] = {
    {Operation::GenerateFileName, throwing | callingBack},
    {Operation::GetTempFolder, throwing | callingBack},
    {Operation::RemoveFolder, refusing | callingBack},
    {Operation::Exists, refusing | throwing | callingBack},
    {Operation::Move, refusing | throwing | callingBack},
    {Operation::CreateFolder, refusing | throwing | callingBack},
    {Operation::OpenDocument, refusing | throwing | late | callingBack},
    {Operation::SaveDocument, refusing | throwing | late | callingBack},
    {Operation::CloseDocument, refusing | throwing | late | callingBack},
    {Operation::ConvertFile, refusing | throwing | callingBack},
    {Operation::CancelConvertation, refusing | throwing | callingBack},
    {Operation::GetSupportedFormats, refusing | throwing | callingBack},
    {Operation::DoesServiceAvailable, refusing | throwing | callingBack},
    {Operation::CopyTask, throwing | callingBack}};

struct OutcomeRow
{
    Outcome outcome;
    Kind kind;
};

const OutcomeRow outcomes[] = {{Outcome::Refuses, refusing},
                               {Outcome::Throws, throwing},
                               {Outcome::ThrowsWhatIsNoException, throwing},
                               {Outcome::ThrowsBadAlloc, throwing},
                               {Outcome::HasNoState, late},
                               {Outcome::BreaksItsPromise, late},
                               {Outcome::HoldsAnException, late},
                               {Outcome::IsReadyWhenWaitedFor, late},
                               {Outcome::IsReadyOnAThread, late},
                               {Outcome::StartsATask, callingBack},
                               {Outcome::EndsATask, callingBack},
                               {Outcome::FinishesATask, callingBack}};

constexpr Fault noFault{Operation::ConvertFile, Outcome::Usual, 0};

struct Cell
{
    Stack stack;
    Fault fault;
};

std::ostream& operator<<(std::ostream& stream, const Cell& cell)
{
    stream << cell.stack.name << '_';
    if (cell.fault.call == 0)
        return stream << "Usual";
    return stream << cell.fault.operation << cell.fault.call << '_' << cell.fault.outcome;
}

/** Both wrappers alone, and all stacks of two and of three. */
std::vector<Stack> Shapes()
{
    std::vector<Stack> shapes = AllStacks();
    for (const Stack& outer : AllStacks()) {
        if (outer.wrappers.size() != 2)
            continue;
        for (const Stack& inner : AllStacks()) {
            if (inner.wrappers.size() != 1)
                continue;
            shapes.push_back({outer.name + "Around" + inner.name, outer.wrappers});
            shapes.back().wrappers.push_back(inner.wrappers.front());
        }
    }
    return shapes;
}

/** The first, second and third call of each operation, where the course makes that many. */
std::vector<Cell> Cells()
{
    std::vector<Cell> cells;
    for (const Stack& stack : Shapes()) {
        cells.push_back({stack, noFault});
        ExpectedCourse usual(stack, "/folder", noFault, std::make_shared<CallJournal>());
        usual.RunThrough();
        for (const auto& [operation, kinds] : operations) {
            for (const auto& [outcome, kind] : outcomes) {
                const int last = (kinds & kind) ? std::min(3, usual.CountCalls(operation)) : 0;
                for (int call = 1; call <= last; ++call)
                    cells.push_back({stack, {operation, outcome, call}});
            }
        }
    }
    return cells;
}

/** GoogleTest shows the lines in which two texts differ. */
std::string Text(const CallJournal& lines)
{
    std::string text;
    for (const std::string& line : lines)
        text += line + '\n';
    return text;
}

using Counter = std::function<Outcome(Operation)>;

class FaultyNames : public FakeNameGenerator
{
public:
    FaultyNames(std::shared_ptr<CallJournal> journal, Counter meet)
        : FakeNameGenerator(std::move(journal)), meet(std::move(meet))
    {
    }

    std::string GenerateFileName() override
    {
        meet(Operation::GenerateFileName);
        return FakeNameGenerator::GenerateFileName();
    }

private:
    const Counter meet;
};

class FaultyFiles : public FakeFileSystem
{
public:
    FaultyFiles(std::string tempFolder, std::shared_ptr<CallJournal> journal, Counter meet)
        : FakeFileSystem(std::move(tempFolder), std::move(journal)), meet(std::move(meet))
    {
    }

    ioPath GetTempFolder() override
    {
        meet(Operation::GetTempFolder);
        return FakeFileSystem::GetTempFolder();
    }

    bool RemoveFolder(const ioPath& folder) override
    {
        return Answers(Operation::RemoveFolder) && FakeFileSystem::RemoveFolder(folder);
    }

    bool Exists(const ioPath& path) override
    {
        const bool isRight = Answers(Operation::Exists);
        return FakeFileSystem::Exists(path) == isRight;
    }

    bool Move(const ioPath& from, const ioPath& to) override
    {
        return Answers(Operation::Move) && FakeFileSystem::Move(from, to);
    }

    bool CreateFolder(const ioPath& folder) override
    {
        return Answers(Operation::CreateFolder) && FakeFileSystem::CreateFolder(folder);
    }

private:
    bool Answers(Operation operation) { return meet(operation) != Outcome::Refuses; }

    const Counter meet;
};

class FaultyPdfs : public FakePdfProvider
{
public:
    FaultyPdfs(std::shared_ptr<CallJournal> journal, Counter meet)
        : FakePdfProvider(std::move(journal)), meet(std::move(meet))
    {
    }

    std::future<DocumentHandle> OpenDocument(const ioPath& file,
                                             const std::string& password) override
    {
        return Answer(Operation::OpenDocument, DocumentHandle{-1, 0},
                      [&] { return FakePdfProvider::OpenDocument(file, password); });
    }

    std::future<bool> SaveDocument(const DocumentHandle& document, const ioPath& file) override
    {
        return Answer(Operation::SaveDocument, false,
                      [&] { return FakePdfProvider::SaveDocument(document, file); });
    }

    std::future<bool> CloseDocument(const DocumentHandle& document) override
    {
        return Answer(Operation::CloseDocument, false,
                      [&] { return FakePdfProvider::CloseDocument(document); });
    }

private:
    template <typename T, typename Work>
    std::future<T> Answer(Operation operation, T refusal, Work work)
    {
        switch (meet(operation)) {
        case Outcome::Refuses:
            return Ready(refusal);
        case Outcome::HasNoState:
            return Stateless<T>();
        case Outcome::BreaksItsPromise:
            return std::promise<T>().get_future();
        case Outcome::HoldsAnException: {
            std::ostringstream name;
            name << operation;
            return Throwing<T>(std::runtime_error(name.str()));
        }
        case Outcome::IsReadyWhenWaitedFor:
            return WhenWaitedFor<T>([answer = work().get()] { return answer; });
        case Outcome::IsReadyOnAThread:
            return OnThread<T>([answer = work().get()] { return answer; });
        default:
            return work();
        }
    }

    const Counter meet;
};

class FaultyConverter : public FakeConverter
{
public:
    FaultyConverter(std::shared_ptr<CallJournal> journal, Counter meet)
        : FakeConverter(std::move(journal)), meet(std::move(meet))
    {
        formats["pdf"] = QStringList{"png"};
    }

    bool ConvertFile(const Task& task) override
    {
        if (onTold)
            onTold(task);
        // Without its options: those of the wrappers' copies alone count.
        return Answers(Operation::ConvertFile) &&
               FakeConverter::ConvertFile({task.type, task.source, task.destination, {}});
    }

    bool CancelConvertation() override
    {
        return Answers(Operation::CancelConvertation) && FakeConverter::CancelConvertation();
    }

    std::map<QString, QStringList> GetSupportedFormats() const override
    {
        if (!Answers(Operation::GetSupportedFormats))
            return {};
        return FakeConverter::GetSupportedFormats();
    }

    bool DoesServiceAvailable() override
    {
        return Answers(Operation::DoesServiceAvailable) && FakeConverter::DoesServiceAvailable();
    }

    /** Called before anything else happens in ConvertFile. */
    std::function<void(const Task&)> onTold;

private:
    bool Answers(Operation operation) const { return meet(operation) != Outcome::Refuses; }

    const Counter meet;
};

/** The course that a real chain takes. */
class FaultMatrixTest : public WrapperFixture,
                        public testing::WithParamInterface<Cell>,
                        protected Course
{
public:
    static void SetUpTestSuite() { SilenceLog("FaultMatrixTest"); }

protected:
    FaultMatrixTest() : Course(GetParam().fault, journal)
    {

        const Counter meet = [this](Operation operation) {
            return Meet(operation);
        };
        const auto faultyConverter = std::make_shared<FaultyConverter>(journal, meet);
        faultyConverter->onTold = [this](const Task& task) {
            told.push_back({task.type.toStdString(), task.source.toStdString(),
                            task.destination.toStdString()});
        };
        names = std::make_shared<FaultyNames>(journal, meet);
        files = std::make_shared<FaultyFiles>(folder.path().toStdString(), journal, meet);
        pdfs = std::make_shared<FaultyPdfs>(journal, meet);
        converter = faultyConverter;
        sender = faultyConverter.get();
        disk = files.get();
        journal->clear(); // of the fakes that they replace
        files->folders.insert(Path("out").toStdString());
        for (const QString& name : sources)
            FakePdfProvider::MakeDocument(Path(name).toStdString(), "secret");
        log.onRecord = [this](const LogRecord& record) {
            // Behind the name of the function.
            Write("log " + record.text.substr(record.text.find(": ") + 2));
        };
    }

    void Construct() override
    {
        outermost = Make(GetParam().stack);
        isBuilt = true;
        ReceiveAll(*outermost, &receiver,
                   [this](const std::string& line) { Write("received " + line); });
    }

    bool Convert(const std::string& name) override
    {
        const QString text = QString::fromStdString(name);
        Task task{text,
                  Path(text + ".pdf"),
                  Path("out/" + text + ".png"),
                  {{"need_export", true}, {"password", password}}};
        task.options.emplace("copied",
                             std::any(CopiedOption([this] { Meet(Operation::CopyTask); })));
        return outermost->ConvertFile(task);
    }

    bool Cancel() override { return outermost->CancelConvertation(); }

    bool HasFormats() override
    {
        const std::map<QString, QStringList> found = outermost->GetSupportedFormats();
        EXPECT_TRUE(found.empty() || found == sender->formats);
        return !found.empty();
    }

    bool IsAvailable() override { return outermost->DoesServiceAvailable(); }

    void Destroy() override
    {
        isBuilt = false;
        ReleaseAll();
        outermost.reset();
    }

    void Produce(const std::string& file) override { disk->files[file] = "result"; }

    void EmitProgress(const std::string& source) override
    {
        for (const ConverterSignal& signal : ConverterSignals()) {
            if (!signal.endsTask)
                signal.emitFrom(*sender, QString::fromStdString(source));
        }
    }

    void EmitFailed(const std::string& source) override
    {
        Q_EMIT sender->Failed(QString::fromStdString(source), AbstractConverter::Unknown);
    }

    void EmitFinished(const std::string& source, const std::string& file) override
    {
        Q_EMIT sender->Finished(QString::fromStdString(source), QString::fromStdString(file));
    }

    void EmitFinished(const std::string& source, const std::vector<std::string>& list) override
    {
        QStringList results;
        for (const std::string& file : list)
            results << QString::fromStdString(file);
        Q_EMIT sender->Finished(QString::fromStdString(source), results);
    }

    std::string State() override
    {
        std::set<std::string> copies;
        for (const QString& name : QDir(folder.path()).entryList(QDir::Files)) {
            if (!sources.contains(name))
                copies.insert(Path(name).toStdString());
        }
        if (!files)
            return Describe(copies, {}, {}, 0);
        std::set<std::string> results;
        for (const auto& [path, content] : files->files)
            results.insert(path);
        return Describe(copies, results, files->folders, pdfs->documents.size());
    }

    const QStringList sources{"a.pdf", "another.pdf", "b.pdf", "c.pdf"};
    const std::string password = "secret";
    LogCapture log;
    FakeConverter* sender;
    FakeFileSystem* disk;
    std::shared_ptr<AbstractConverter> outermost;
};

} // namespace

INSTANTIATE_TEST_SUITE_P(, FaultMatrixTest, testing::ValuesIn(Cells()),
                         [](const auto& cell) { return testing::PrintToString(cell.param); });

TEST_P(FaultMatrixTest, TheCourseIsTheExpectedOne)
{
    const auto expected = std::make_shared<CallJournal>();
    ExpectedCourse(GetParam().stack, folder.path().toStdString(), GetParam().fault, expected)
        .RunThrough();
    RunThrough();
    EXPECT_EQ(Text(*journal), Text(*expected));
    EXPECT_GE(CountCalls(GetParam().fault.operation), GetParam().fault.call);
}

TEST(FaultMatrix, HasMoreThanAThousandCells)
{
    const std::size_t count = Cells().size();
    RecordProperty("cells", std::to_string(count));
    EXPECT_GE(count, 1000u);
}

} // namespace Korvel::PDF::Test
