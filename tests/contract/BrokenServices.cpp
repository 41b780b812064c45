// Services with one fault each. NoticedFaultsTest.cpp tells which promise each of them breaks.

#include "FakePdfProviderFixture.h"
#include "FileNameGeneratorContract.h"
#include "FileSystemContract.h"
#include "FolderFileSystem.h"
#include "Futures.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>
#include <QCoreApplication>
#include <QTemporaryDir>
#include <QTimer>

namespace Korvel::PDF::Test {

namespace {

using namespace TestKit;
using namespace std::chrono_literals;

template <std::string (*stem)(int number)>
class NamesOf : public FileNameGeneratorFixture, public IFileNameGenerator
{
public:
    IFileNameGenerator& Generator() override { return *this; }
    std::string GenerateFileName() override { return stem(count++); }

private:
    int count = 0;
};

std::string Repeated(int number)
{
    return std::to_string(number % 1000);
}

std::string Empty(int)
{
    return {};
}

std::string WithSeparator(int number)
{
    return "names/" + std::to_string(number);
}

std::string InLatin1(int number)
{
    return "\xFC" + std::to_string(number);
}

std::string WithExtension(int number)
{
    return std::to_string(number) + ".pdf";
}

std::string TooLong(int number)
{
    return std::string(300, 'x') + std::to_string(number);
}

template <typename Broken>
class FilesOf : public FileSystemFixture
{
public:
    IFileSystem& FileSystem() override { return files; }
    std::string FolderOnAnotherVolume() override { return other.path().toStdString(); }

private:
    QTemporaryDir folder;
    QTemporaryDir other;
    Broken files{folder.path().toStdString()};
};

struct ThrowsWhenAsked : FolderFileSystem
{
    using FolderFileSystem::FolderFileSystem;
    bool Exists(const ioPath& path) override
    {
        return std::filesystem::exists(path.utf8string()); // throws where the other one reports
    }
};

struct SeesNoFolder : FolderFileSystem
{
    using FolderFileSystem::FolderFileSystem;
    bool Exists(const ioPath& path) override
    {
        std::error_code error;
        return std::filesystem::is_regular_file(path.utf8string(), error);
    }
};

struct ReplacesFiles : FolderFileSystem
{
    using FolderFileSystem::FolderFileSystem;
    bool Move(const ioPath& from, const ioPath& to) override
    {
        std::error_code error;
        std::filesystem::rename(from.utf8string(), to.utf8string(), error);
        return !error;
    }
};

struct LosesWhatItCannotMove : FolderFileSystem
{
    using FolderFileSystem::FolderFileSystem;
    bool Move(const ioPath& from, const ioPath& to) override
    {
        const bool isMoved = FolderFileSystem::Move(from, to);
        ioPath::remove(from);
        return isMoved;
    }
};

struct MovesOneLine : FolderFileSystem
{
    using FolderFileSystem::FolderFileSystem;
    bool Move(const ioPath& from, const ioPath& to) override
    {
        std::string line;
        std::getline(std::ifstream(from.utf8string()), line);
        if (!FolderFileSystem::Move(from, to))
            return false;
        std::ofstream(to.utf8string()) << line;
        return true;
    }
};

struct StaysInItsFolder : FolderFileSystem
{
    using FolderFileSystem::FolderFileSystem;
    bool Move(const ioPath& from, const ioPath& to) override
    {
        return to.utf8string().rfind(GetTempFolder().utf8string(), 0) == 0 &&
               FolderFileSystem::Move(from, to);
    }
};

struct MakesParents : FolderFileSystem
{
    using FolderFileSystem::FolderFileSystem;
    bool CreateFolder(const ioPath& folder) override
    {
        std::error_code error;
        return std::filesystem::create_directories(folder.utf8string(), error);
    }
};

struct TakesAnExistingFolder : FolderFileSystem
{
    using FolderFileSystem::FolderFileSystem;
    bool CreateFolder(const ioPath& folder) override
    {
        return FolderFileSystem::CreateFolder(folder) || Exists(folder);
    }
};

struct RemovesEmptyFolders : FolderFileSystem
{
    using FolderFileSystem::FolderFileSystem;
    bool RemoveFolder(const ioPath& folder) override
    {
        std::error_code error;
        return std::filesystem::remove(folder.utf8string(), error);
    }
};

struct EndsInASeparator : FolderFileSystem
{
    using FolderFileSystem::FolderFileSystem;
    ioPath GetTempFolder() override
    {
        return ioPath(FolderFileSystem::GetTempFolder().utf8string() + "/");
    }
};

struct CutsAtTheNul : FolderFileSystem
{
    using FolderFileSystem::FolderFileSystem;
    bool RemoveFolder(const ioPath& folder) override
    {
        ioPath cut;
        cut = folder.utf8string().c_str();
        return FolderFileSystem::RemoveFolder(cut);
    }
};

struct LetsOthersLookIn : FolderFileSystem
{
    explicit LetsOthersLookIn(const std::string& folder) : FolderFileSystem(folder)
    {
        std::filesystem::permissions(folder, std::filesystem::perms(0755));
    }
};

struct FollowsLinks : FolderFileSystem
{
    using FolderFileSystem::FolderFileSystem;
    bool RemoveFolder(const ioPath& folder) override
    {
        std::error_code error;
        for (const auto& entry :
             std::filesystem::recursive_directory_iterator(folder.utf8string(), error))
            if (entry.is_symlink())
                std::filesystem::remove_all(std::filesystem::read_symlink(entry.path()), error);
        return FolderFileSystem::RemoveFolder(folder);
    }
};

template <typename Broken>
class ProviderOf : public FakePdfProviderFixture<Broken>
{
public:
    std::chrono::milliseconds Patience() const override { return Broken::patience; }
};

struct BrokenProvider : FakePdfProvider
{
    BrokenProvider() : FakePdfProvider(std::make_shared<CallJournal>()) {}
    static constexpr std::chrono::milliseconds patience = 1min;
};

struct HasNoState : BrokenProvider
{
    HasNoState() { save = Stateless<bool>; }
};

struct ThrowsInTheFuture : BrokenProvider
{
    std::future<DocumentHandle> OpenDocument(const ioPath& file,
                                             const std::string& password) override
    {
        const DocumentHandle document = BrokenProvider::OpenDocument(file, password).get();
        if (document.id < 0)
            return Throwing<DocumentHandle>(std::runtime_error("cannot be opened"));
        return Ready(document);
    }
};

struct NeedsTheEventLoop : BrokenProvider
{
    static constexpr std::chrono::milliseconds patience = 50ms;
    NeedsTheEventLoop()
    {
        save = [] {
            auto promise = std::make_shared<std::promise<bool>>();
            QTimer::singleShot(0, QCoreApplication::instance(),
                               [promise] { promise->set_value(true); });
            return promise->get_future();
        };
    }
};

struct ClosesWhenWaitedFor : BrokenProvider
{
    static constexpr std::chrono::milliseconds patience = 50ms;
    std::future<bool> CloseDocument(const DocumentHandle& document) override
    {
        return WhenWaitedFor<bool>(
            [this, document] { return BrokenProvider::CloseDocument(document).get(); });
    }
};

struct BlocksWhoeverDropsTheFuture : BrokenProvider
{
    static constexpr std::chrono::milliseconds patience = 50ms;
    ~BlocksWhoeverDropsTheFuture() override { end->set_value(); }

    std::future<DocumentHandle> OpenDocument(const ioPath& file,
                                             const std::string& password) override
    {
        if (file.utf8string().find("unwanted") == std::string::npos)
            return BrokenProvider::OpenDocument(file, password);
        return std::async(std::launch::async, [end = end] {
            end->get_future().wait();
            return DocumentHandle();
        });
    }

private:
    std::shared_ptr<std::promise<void>> end = std::make_shared<std::promise<void>>();
};

struct OpensAnything : BrokenProvider
{
    std::future<DocumentHandle> OpenDocument(const ioPath& file,
                                             const std::string& password) override
    {
        DocumentHandle document = BrokenProvider::OpenDocument(file, password).get();
        if (document.id < 0)
            document.id = 0;
        return Ready(document);
    }
};

struct AsksForNoPassword : BrokenProvider
{
    std::future<DocumentHandle> OpenDocument(const ioPath& file, const std::string&) override
    {
        const DocumentHandle document = BrokenProvider::OpenDocument(file, "secret").get();
        return Ready(document);
    }
};

struct KeepsTheEncryption : BrokenProvider
{
    std::future<bool> SaveDocument(const DocumentHandle& document, const ioPath& file) override
    {
        const bool isSaved = BrokenProvider::SaveDocument(document, file).get();
        return Ready(isSaved && MakeDocument(file.utf8string(), "secret"));
    }
};

struct SavesNothing : BrokenProvider
{
    static constexpr std::chrono::milliseconds patience = 50ms; // for what is closed to be noticed
    SavesNothing()
    {
        save = [] {
            return Ready(true);
        };
    }
};

struct SavesForEverybody : BrokenProvider
{
    std::future<bool> SaveDocument(const DocumentHandle& document, const ioPath& file) override
    {
        const bool isSaved = BrokenProvider::SaveDocument(document, file).get();
        std::error_code error;
        std::filesystem::permissions(file.utf8string(), std::filesystem::perms(0644), error);
        return Ready(isSaved);
    }
};

struct SavesThroughLinks : BrokenProvider
{
    std::future<bool> SaveDocument(const DocumentHandle& document, const ioPath& file) override
    {
        std::error_code error;
        const auto target = std::filesystem::read_symlink(file.utf8string(), error);
        return BrokenProvider::SaveDocument(document, error ? file : ioPath(target.string()));
    }
};

struct ClosesTheOthers : BrokenProvider
{
    std::future<bool> CloseDocument(const DocumentHandle& document) override
    {
        auto closed = BrokenProvider::CloseDocument(document);
        documents.clear();
        return closed;
    }
};

struct ClosesWhatIsClosed : BrokenProvider
{
    ClosesWhatIsClosed()
    {
        close = [] {
            return Ready(true);
        };
    }
};

} // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Repeated, FileNameGeneratorContract, NamesOf<Repeated>);
INSTANTIATE_TYPED_TEST_SUITE_P(Empty, FileNameGeneratorContract, NamesOf<Empty>);
INSTANTIATE_TYPED_TEST_SUITE_P(WithSeparator, FileNameGeneratorContract, NamesOf<WithSeparator>);
INSTANTIATE_TYPED_TEST_SUITE_P(InLatin1, FileNameGeneratorContract, NamesOf<InLatin1>);
INSTANTIATE_TYPED_TEST_SUITE_P(WithExtension, FileNameGeneratorContract, NamesOf<WithExtension>);
INSTANTIATE_TYPED_TEST_SUITE_P(TooLong, FileNameGeneratorContract, NamesOf<TooLong>);

INSTANTIATE_TYPED_TEST_SUITE_P(ThrowsWhenAsked, FileSystemContract, FilesOf<ThrowsWhenAsked>);
INSTANTIATE_TYPED_TEST_SUITE_P(SeesNoFolder, FileSystemContract, FilesOf<SeesNoFolder>);
INSTANTIATE_TYPED_TEST_SUITE_P(ReplacesFiles, FileSystemContract, FilesOf<ReplacesFiles>);
INSTANTIATE_TYPED_TEST_SUITE_P(LosesWhatItCannotMove, FileSystemContract,
                               FilesOf<LosesWhatItCannotMove>);
INSTANTIATE_TYPED_TEST_SUITE_P(MovesOneLine, FileSystemContract, FilesOf<MovesOneLine>);
INSTANTIATE_TYPED_TEST_SUITE_P(StaysInItsFolder, FileSystemContract, FilesOf<StaysInItsFolder>);
INSTANTIATE_TYPED_TEST_SUITE_P(MakesParents, FileSystemContract, FilesOf<MakesParents>);
INSTANTIATE_TYPED_TEST_SUITE_P(TakesAnExistingFolder, FileSystemContract,
                               FilesOf<TakesAnExistingFolder>);
INSTANTIATE_TYPED_TEST_SUITE_P(RemovesEmptyFolders, FileSystemContract,
                               FilesOf<RemovesEmptyFolders>);
INSTANTIATE_TYPED_TEST_SUITE_P(EndsInASeparator, FileSystemContract, FilesOf<EndsInASeparator>);
INSTANTIATE_TYPED_TEST_SUITE_P(CutsAtTheNul, FileSystemContract, FilesOf<CutsAtTheNul>);
INSTANTIATE_TYPED_TEST_SUITE_P(LetsOthersLookIn, FileSystemContract, FilesOf<LetsOthersLookIn>);
INSTANTIATE_TYPED_TEST_SUITE_P(FollowsLinks, FileSystemContract, FilesOf<FollowsLinks>);

INSTANTIATE_TYPED_TEST_SUITE_P(HasNoState, PdfProviderContract, ProviderOf<HasNoState>);
INSTANTIATE_TYPED_TEST_SUITE_P(ThrowsInTheFuture, PdfProviderContract,
                               ProviderOf<ThrowsInTheFuture>);
INSTANTIATE_TYPED_TEST_SUITE_P(NeedsTheEventLoop, PdfProviderContract,
                               ProviderOf<NeedsTheEventLoop>);
INSTANTIATE_TYPED_TEST_SUITE_P(ClosesWhenWaitedFor, PdfProviderContract,
                               ProviderOf<ClosesWhenWaitedFor>);
INSTANTIATE_TYPED_TEST_SUITE_P(BlocksWhoeverDropsTheFuture, PdfProviderContract,
                               ProviderOf<BlocksWhoeverDropsTheFuture>);
INSTANTIATE_TYPED_TEST_SUITE_P(OpensAnything, PdfProviderContract, ProviderOf<OpensAnything>);
INSTANTIATE_TYPED_TEST_SUITE_P(AsksForNoPassword, PdfProviderContract,
                               ProviderOf<AsksForNoPassword>);
INSTANTIATE_TYPED_TEST_SUITE_P(KeepsTheEncryption, PdfProviderContract,
                               ProviderOf<KeepsTheEncryption>);
INSTANTIATE_TYPED_TEST_SUITE_P(SavesNothing, PdfProviderContract, ProviderOf<SavesNothing>);
INSTANTIATE_TYPED_TEST_SUITE_P(SavesForEverybody, PdfProviderContract,
                               ProviderOf<SavesForEverybody>);
INSTANTIATE_TYPED_TEST_SUITE_P(SavesThroughLinks, PdfProviderContract,
                               ProviderOf<SavesThroughLinks>);
INSTANTIATE_TYPED_TEST_SUITE_P(ClosesTheOthers, PdfProviderContract, ProviderOf<ClosesTheOthers>);
INSTANTIATE_TYPED_TEST_SUITE_P(ClosesWhatIsClosed, PdfProviderContract,
                               ProviderOf<ClosesWhatIsClosed>);

} // namespace Korvel::PDF::Test
