#include "FaultyWorld.h"

#include "Futures.h"

#include <stdexcept>

namespace Korvel::PDF::Test {

namespace {

using Journal = std::shared_ptr<CallJournal>;
using Meet = std::function<Outcome(Call)>;
using Task = Converter::AbstractConverter::Task;
using Tell = std::function<void(const Task&)>;

class FaultyNames : public FakeNameGenerator
{
public:
    FaultyNames(Journal journal, Meet meet)
        : FakeNameGenerator(std::move(journal)), meet(std::move(meet))
    {
    }

    std::string GenerateFileName() override
    {
        meet(Call::GenerateFileName);
        return FakeNameGenerator::GenerateFileName();
    }

private:
    const Meet meet;
};

class FaultyFiles : public NumberedFiles
{
public:
    FaultyFiles(std::string tempFolder, Journal journal, Meet meet)
        : NumberedFiles(std::move(tempFolder), std::move(journal)), meet(std::move(meet))
    {
    }

    ioPath GetTempFolder() override
    {
        meet(Call::GetTempFolder);
        return NumberedFiles::GetTempFolder();
    }

    bool RemoveFolder(const ioPath& folder) override
    {
        return Answers(Call::RemoveFolder) && NumberedFiles::RemoveFolder(folder);
    }

    bool Exists(const ioPath& path) override
    {
        const bool isRight = Answers(Call::Exists);
        return NumberedFiles::Exists(path) == isRight;
    }

    bool Move(const ioPath& from, const ioPath& to) override
    {
        return Answers(Call::Move) && NumberedFiles::Move(from, to);
    }

    bool CreateFolder(const ioPath& folder) override
    {
        return Answers(Call::CreateFolder) && NumberedFiles::CreateFolder(folder);
    }

private:
    bool Answers(Call call) { return meet(call) != Outcome::Refuses; }

    const Meet meet;
};

class FaultyPdfs : public FakePdfProvider
{
public:
    FaultyPdfs(Journal journal, Meet meet)
        : FakePdfProvider(std::move(journal)), meet(std::move(meet))
    {
    }

    std::future<DocumentHandle> OpenDocument(const ioPath& file,
                                             const std::string& password) override
    {
        return Answer(Call::OpenDocument, DocumentHandle{-1, 0},
                      [&] { return FakePdfProvider::OpenDocument(file, password); });
    }

    std::future<bool> SaveDocument(const DocumentHandle& document, const ioPath& file) override
    {
        return Answer(Call::SaveDocument, false,
                      [&] { return FakePdfProvider::SaveDocument(document, file); });
    }

    std::future<bool> CloseDocument(const DocumentHandle& document) override
    {
        return Answer(Call::CloseDocument, false,
                      [&] { return FakePdfProvider::CloseDocument(document); });
    }

private:
    template <typename T, typename Work>
    std::future<T> Answer(Call call, T refusal, Work work)
    {
        switch (meet(call)) {
        case Outcome::Refuses:
            return Ready(refusal);
        case Outcome::HasNoState:
            return Stateless<T>();
        case Outcome::BreaksItsPromise:
            return std::promise<T>().get_future();
        case Outcome::HoldsAnException:
            return Throwing<T>(std::runtime_error(Name(call)));
        case Outcome::IsReadyWhenWaitedFor:
            return WhenWaitedFor<T>([answer = work().get()] { return answer; });
        case Outcome::IsReadyOnAThread:
            return OnThread<T>([answer = work().get()] { return answer; });
        default:
            return work();
        }
    }

    const Meet meet;
};

class FaultyConverter : public FakeConverter
{
public:
    FaultyConverter(Journal journal, Meet meet, Tell tell)
        : FakeConverter(std::move(journal)), meet(std::move(meet)), tell(std::move(tell))
    {
        formats["pdf"] = QStringList{"png"};
    }

    bool ConvertFile(const Task& task) override
    {
        tell(task);
        // Without its options: those of the wrappers' copies alone count.
        return Answers(Call::ConvertFile) &&
               FakeConverter::ConvertFile({task.type, task.source, task.destination, {}});
    }

    bool CancelConvertation() override
    {
        return Answers(Call::CancelConvertation) && FakeConverter::CancelConvertation();
    }

    std::map<QString, QStringList> GetSupportedFormats() const override
    {
        if (!Answers(Call::GetSupportedFormats))
            return {};
        return FakeConverter::GetSupportedFormats();
    }

    bool DoesServiceAvailable() override
    {
        return Answers(Call::DoesServiceAvailable) && FakeConverter::DoesServiceAvailable();
    }

private:
    bool Answers(Call call) const { return meet(call) != Outcome::Refuses; }

    const Meet meet;
    const Tell tell;
};

} // namespace

World MakeFaultyWorld(const Meet& meet, const Tell& tell)
{
    World world;
    world.names = std::make_shared<FaultyNames>(world.trace, meet);
    world.pdfs = std::make_shared<FaultyPdfs>(world.trace, meet);
    world.files = std::make_shared<FaultyFiles>("tmp", world.trace, meet);
    world.converter = std::make_shared<FaultyConverter>(world.trace, meet, tell);
    world.trace->clear(); // of the fakes whose place they have taken
    return world;
}

} // namespace Korvel::PDF::Test
