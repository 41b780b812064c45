#include "FakeFileSystem.h"
#include "FakeNameGenerator.h"
#include "FakePdfProviderFixture.h"
#include "FileNameGeneratorContract.h"
#include "FileSystemContract.h"
#include "FolderFileSystem.h"
#include "VirtualSlot.h"

#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <QFile>
#include <QTemporaryDir>

namespace Korvel::PDF::Test {

namespace {

static_assert(std::is_trivially_copyable_v<DocumentHandle>);
static_assert(std::is_trivially_destructible_v<DocumentHandle>);
static_assert(sizeof(DocumentHandle) == 16);
static_assert(std::is_same_v<decltype(DocumentHandle::id), std::int64_t>);
static_assert(offsetof(DocumentHandle, id) == 0);

static_assert(std::is_same_v<decltype(&IFileNameGenerator::GenerateFileName),
                             std::string (IFileNameGenerator::*)()>);
static_assert(std::is_same_v<decltype(&IFileSystem::GetTempFolder), ioPath (IFileSystem::*)()>);
static_assert(
    std::is_same_v<decltype(&IFileSystem::RemoveFolder), bool (IFileSystem::*)(const ioPath&)>);
static_assert(std::is_same_v<decltype(&IFileSystem::Exists), bool (IFileSystem::*)(const ioPath&)>);
static_assert(std::is_same_v<decltype(&IFileSystem::Move),
                             bool (IFileSystem::*)(const ioPath&, const ioPath&)>);
static_assert(
    std::is_same_v<decltype(&IFileSystem::CreateFolder), bool (IFileSystem::*)(const ioPath&)>);
static_assert(std::is_same_v<decltype(&IPDFProvider::OpenDocument),
                             std::future<DocumentHandle> (IPDFProvider::*)(const ioPath&,
                                                                           const std::string&)>);
static_assert(
    std::is_same_v<decltype(&IPDFProvider::SaveDocument),
                   std::future<bool> (IPDFProvider::*)(const DocumentHandle&, const ioPath&)>);
static_assert(std::is_same_v<decltype(&IPDFProvider::CloseDocument),
                             std::future<bool> (IPDFProvider::*)(const DocumentHandle&)>);

static_assert(std::has_virtual_destructor_v<IFileNameGenerator>);
static_assert(std::has_virtual_destructor_v<IFileSystem>);
static_assert(std::has_virtual_destructor_v<IPDFProvider>);
static_assert(std::is_abstract_v<IFileNameGenerator>);
static_assert(std::is_abstract_v<IFileSystem>);
static_assert(std::is_abstract_v<IPDFProvider>);

static_assert(std::is_copy_constructible_v<ioPath>);
static_assert(std::is_same_v<decltype(ioPath().utf8string()), std::string>);
static_assert(std::is_same_v<decltype(ioPath() = ""), ioPath&>);
static_assert(std::is_same_v<decltype(&ioPath::remove), bool (*)(const ioPath&)>);
static_assert(std::is_same_v<decltype(Korvel::operator<<(std::declval<std::ostream&>(), ioPath())),
                             std::ostream&>);

/** Text with letters of two, three and four UTF-8 bytes. */
const std::string nonAscii = "/Übung/文書/😀.pdf";

} // namespace

TEST(ServiceInterfacesTest, TheFileSystemDeclaresItsOperationsInTheirOrder)
{
    const std::size_t first = VirtualSlot(&IFileSystem::GetTempFolder);
    EXPECT_EQ(VirtualSlot(&IFileSystem::RemoveFolder), first + 1);
    EXPECT_EQ(VirtualSlot(&IFileSystem::Exists), first + 2);
    EXPECT_EQ(VirtualSlot(&IFileSystem::Move), first + 3);
    EXPECT_EQ(VirtualSlot(&IFileSystem::CreateFolder), first + 4);
}

TEST(ServiceInterfacesTest, ThePdfProviderDeclaresItsOperationsInTheirOrder)
{
    const std::size_t first = VirtualSlot(&IPDFProvider::OpenDocument);
    EXPECT_EQ(VirtualSlot(&IPDFProvider::SaveDocument), first + 1);
    EXPECT_EQ(VirtualSlot(&IPDFProvider::CloseDocument), first + 2);
}

TEST(IoPathTest, IsEmptyAtFirst)
{
    EXPECT_EQ(ioPath().utf8string(), "");
}

TEST(IoPathTest, KeepsTheUtf8TextThatItWasMadeFrom)
{
    EXPECT_EQ(ioPath(nonAscii).utf8string(), nonAscii);
    EXPECT_EQ(ioPath(std::string("a\0b", 3)).utf8string(), std::string("a\0b", 3));
}

TEST(IoPathTest, TakesTheAssignedTextUpToItsNul)
{
    ioPath path(std::string("before"));
    EXPECT_EQ(&(path = nonAscii.c_str()), &path);
    EXPECT_EQ(path.utf8string(), nonAscii);
    path = std::string("a\0b", 3).c_str();
    EXPECT_EQ(path.utf8string(), "a");
    path = static_cast<const char*>(nullptr);
    EXPECT_EQ(path.utf8string(), "");
}

TEST(IoPathTest, CopiesAreIndependent)
{
    ioPath path(std::string("one"));
    const ioPath copy(path);
    path = "two";
    EXPECT_EQ(copy.utf8string(), "one");
}

TEST(IoPathTest, StreamsItsText)
{
    std::ostringstream stream;
    stream << ioPath(nonAscii) << '!';
    EXPECT_EQ(stream.str(), nonAscii + "!");
}

TEST(IoPathTest, IsStreamedByAFunctionThatIsFoundByItsNameToo)
{
    std::ostream& (*const write)(std::ostream&, const ioPath&) = &Korvel::operator<<;
    std::ostringstream stream;
    EXPECT_EQ(&write(stream, ioPath(nonAscii)), &stream);
    EXPECT_EQ(stream.str(), nonAscii);
}

class IoPathRemoveTest : public testing::Test
{
protected:
    std::string MakeFile(const std::string& name)
    {
        std::string path = folder.path().toStdString() + "/" + name;
        std::ofstream(path) << "content";
        return path;
    }

    static bool Exists(const std::string& path) { return std::ifstream(path).good(); }

    QTemporaryDir folder;
};

TEST_F(IoPathRemoveTest, DeletesTheFile)
{
    const std::string path = MakeFile("Übung 文書😀.pdf");
    EXPECT_TRUE(ioPath::remove(ioPath(path)));
    EXPECT_FALSE(Exists(path));
}

TEST_F(IoPathRemoveTest, AnswersFalseWhereThereIsNoFile)
{
    EXPECT_FALSE(ioPath::remove(ioPath(folder.path().toStdString() + "/missing")));
    EXPECT_FALSE(ioPath::remove(ioPath()));
}

TEST_F(IoPathRemoveTest, LeavesAFolderAlone)
{
    EXPECT_FALSE(ioPath::remove(ioPath(folder.path().toStdString())));
    EXPECT_TRUE(QFile::exists(folder.path()));
}

TEST_F(IoPathRemoveTest, DeletesALinkAndNotWhatItPointsTo)
{
    const std::string target = MakeFile("target");
    const std::string link = folder.path().toStdString() + "/link";
    ASSERT_TRUE(QFile::link(QString::fromStdString(target), QString::fromStdString(link)));
    EXPECT_TRUE(ioPath::remove(ioPath(link)));
    EXPECT_TRUE(Exists(target));
    EXPECT_FALSE(Exists(link));
}

TEST_F(IoPathRemoveTest, RefusesANulInsteadOfDeletingTheFileNamedBeforeIt)
{
    const std::string path = MakeFile("kept");
    EXPECT_FALSE(ioPath::remove(ioPath(path + std::string("\0.pdf", 5))));
    EXPECT_TRUE(Exists(path));
}

class FakeNameGeneratorContractTest : public TestKit::FileNameGeneratorFixture
{
public:
    IFileNameGenerator& Generator() override { return names; }

    FakeNameGenerator names{std::make_shared<CallJournal>()};
};

using namespace TestKit; // the macro needs more of it than the suite
INSTANTIATE_TYPED_TEST_SUITE_P(FakeNameGenerator, FileNameGeneratorContract,
                               FakeNameGeneratorContractTest);

TEST(FakeNameGeneratorTest, HandsOutTheGivenStemsFirst)
{
    FakeNameGenerator names(std::make_shared<CallJournal>());
    names.given = {"x1", "x1"};
    EXPECT_EQ(names.GenerateFileName(), "x1");
    EXPECT_EQ(names.GenerateFileName(), "x1");
    EXPECT_EQ(names.GenerateFileName(), "stem1");
}

class FakeFileSystemTest : public FileSystemFixture
{
public:
    IFileSystem& FileSystem() override { return fileSystem; }

    void MakeFile(const std::string& path, const std::string& content) override
    {
        fileSystem.files[path] = content;
    }

    std::string ReadFile(const std::string& path) override
    {
        const auto file = fileSystem.files.find(path);
        return file == fileSystem.files.end() ? std::string() : file->second;
    }

    FakeFileSystem fileSystem{"/tmp", std::make_shared<CallJournal>()};
};

class FolderFileSystemTest : public FileSystemFixture
{
public:
    IFileSystem& FileSystem() override { return fileSystem; }

    QTemporaryDir folder;
    FolderFileSystem fileSystem{folder.path().toStdString()};
};

INSTANTIATE_TYPED_TEST_SUITE_P(FakeFileSystem, FileSystemContract, FakeFileSystemTest);
INSTANTIATE_TYPED_TEST_SUITE_P(FolderFileSystem, FileSystemContract, FolderFileSystemTest);

struct FakeProvider : FakePdfProvider
{
    FakeProvider() : FakePdfProvider(std::make_shared<CallJournal>()) {}
};

INSTANTIATE_TYPED_TEST_SUITE_P(FakePdfProvider, PdfProviderContract,
                               FakePdfProviderFixture<FakeProvider>);

} // namespace Korvel::PDF::Test
