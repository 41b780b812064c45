#include "LocalFileSystem.h"

#include "FileSystemContract.h"
#include "FileTestTools.h"
#include "SessionFolder.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <QTemporaryDir>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Korvel::PDF::Test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class LocalFileSystemContractTest : public TestKit::FileSystemFixture
{
public:
    IFileSystem& FileSystem() override { return fileSystem; }
    std::string FolderOnAnotherVolume() override { return memory.path().toStdString(); }

    QTemporaryDir folder;
    QTemporaryDir memory{QStringLiteral("/dev/shm/contract-XXXXXX")};
    std::string error;
    LocalFileSystem fileSystem{SessionFolder::Create(folder.path().toStdString(), error)};
};

using namespace TestKit; // the macro needs more of it than the suite
INSTANTIATE_TYPED_TEST_SUITE_P(LocalFileSystem, FileSystemContract, LocalFileSystemContractTest);

class LocalFileSystemTest : public testing::Test
{
protected:
    void TearDown() override
    {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored); // QTemporaryDir misses names that are no text
        std::filesystem::create_directory(folder, ignored);
    }

    ioPath Path(const std::string& name) const { return ioPath(Text(name)); }
    std::string Text(const std::string& name) const { return folder + "/" + name; }

    QTemporaryDir temporary;
    const std::string folder = std::filesystem::canonical(temporary.path().toStdString()).native();
    std::string error;
    std::shared_ptr<SessionFolder> session = [this] {
        std::filesystem::create_directories(folder + "/above/session's parent");
        return SessionFolder::Create(folder + "/above/session's parent", error);
    }();
    LocalFileSystem fileSystem{session};
};

const std::string withNul = std::string("file\0behind", 11);

TEST_F(LocalFileSystemTest, TheTempFolderIsTheSessionFolder)
{
    EXPECT_EQ(fileSystem.GetTempFolder().utf8string(), session->Path());
}

TEST_F(LocalFileSystemTest, ChangesNothingWithoutASessionFolder)
{
    std::ofstream(Text("file")) << "mine";
    std::filesystem::create_directory(Text("folder"));
    LocalFileSystem files(nullptr);
    EXPECT_FALSE(files.CreateFolder(Path("new")));
    EXPECT_FALSE(files.Move(Path("file"), Path("moved")));
    EXPECT_FALSE(files.Replace(Path("file"), Path("moved"), [] { return true; }));
    EXPECT_FALSE(files.RemoveFolder(Path("folder")));
    EXPECT_TRUE(files.Exists(Path("file")));
    EXPECT_TRUE(files.Exists(Path("folder")));
    EXPECT_FALSE(std::ofstream(files.GetTempFolder().utf8string() + "/secret").is_open())
        << "nothing can be made where temporary files would be";
}

TEST_F(LocalFileSystemTest, KeepsTheSessionFolderAlive)
{
    auto other = std::make_shared<LocalFileSystem>(SessionFolder::Create(folder, error));
    const std::string path = other->GetTempFolder().utf8string();
    EXPECT_TRUE(IsAnything(path));
    other.reset();
    EXPECT_FALSE(IsAnything(path));
}

TEST_F(LocalFileSystemTest, ExistsSeesWhateverIsThere)
{
    WriteFile(Text("file"), "content");
    std::filesystem::create_directory(Text("folder"));
    std::filesystem::create_symlink("file", Text("link"));
    std::filesystem::create_symlink("missing", Text("dangling"));
    ASSERT_EQ(::mkfifo(Text("pipe").c_str(), 0600), 0);
    WriteFile(Text("\xe4"), "content");
    for (const char* name : {"file", "folder", "folder/", "link", "dangling", "pipe", "\xe4", "."})
        EXPECT_TRUE(fileSystem.Exists(Path(name))) << name;
    EXPECT_TRUE(fileSystem.Exists(ioPath("/")));
}

TEST_F(LocalFileSystemTest, ExistsAnswersFalseWhenNothingIsThereOrItCannotBeTold)
{
    WriteFile(Text("file"), "content");
    for (const std::string& name :
         {std::string("missing"), std::string("missing/file"), std::string("file/"),
          std::string("file/below"), withNul, std::string(256, 'x'), std::string(100'000, 'x')})
        EXPECT_FALSE(fileSystem.Exists(Path(name))) << name;
    EXPECT_FALSE(fileSystem.Exists(ioPath()));
}

TEST_F(LocalFileSystemTest, ExistsAnswersFalseBehindAClosedFolder)
{
    if (IsRoot())
        GTEST_SKIP() << "no folder is closed to root";
    std::filesystem::create_directory(Text("closed"));
    WriteFile(Text("closed/file"), "content");
    ASSERT_EQ(::chmod(Text("closed").c_str(), 0), 0);
    EXPECT_FALSE(fileSystem.Exists(Path("closed/file")));
    EXPECT_FALSE(fileSystem.CreateFolder(Path("closed/folder")));
    EXPECT_FALSE(fileSystem.RemoveFolder(Path("closed/folder")));
    EXPECT_FALSE(fileSystem.Move(Path("closed/file"), Path("file")));
    ASSERT_EQ(::chmod(Text("closed").c_str(), 0700), 0);
}

TEST_F(LocalFileSystemTest, AFolderIsCreatedPrivateWhateverTheUmask)
{
    for (const mode_t mask : {0U, 022U, 077U}) {
        const Umask umask(mask);
        const std::string name = "folder " + std::to_string(mask);
        EXPECT_TRUE(fileSystem.CreateFolder(Path(name)));
        EXPECT_EQ(ModeOf(Text(name)), mode_t(0700)) << "umask " << mask;
    }
}

TEST_F(LocalFileSystemTest, CreatesNoFolderWhereSomethingIs)
{
    WriteFile(Text("file"), "content");
    std::filesystem::create_directory(Text("folder"));
    std::filesystem::create_symlink("missing", Text("dangling"));
    for (const char* name : {"file", "folder", "dangling"})
        EXPECT_FALSE(fileSystem.CreateFolder(Path(name))) << name;
    EXPECT_FALSE(IsAnything(Text("missing")));
}

TEST_F(LocalFileSystemTest, CreatesNoFolderOfAnUnusableName)
{
    for (const std::string& name : {withNul, std::string(256, 'x'), std::string(100'000, 'x')})
        EXPECT_FALSE(fileSystem.CreateFolder(Path(name)));
    EXPECT_FALSE(fileSystem.CreateFolder(ioPath()));
    EXPECT_THAT(NamesIn(folder), ElementsAre("above"));
}

TEST_F(LocalFileSystemTest, RemovesAFolderWithAllThatIsInside)
{
    std::filesystem::create_directories(Text("folder/in/folders"));
    for (int i = 0; i < 100; ++i)
        WriteFile(Text("folder/in/" + std::to_string(i)), "content");
    WriteFile(Text("folder/not utf-8 \xe4"), "content");
    ASSERT_EQ(::mkfifo(Text("folder/pipe").c_str(), 0600), 0);
    EXPECT_TRUE(fileSystem.RemoveFolder(Path("folder")));
    EXPECT_THAT(NamesIn(folder), ElementsAre("above"));
}

TEST_F(LocalFileSystemTest, RemovesFoldersDeeperThanAPathIsLong)
{
    const WorkingFolder here(folder);
    std::filesystem::create_directory("folder");
    std::filesystem::current_path("folder");
    for (int depth = 0; depth < 100; ++depth) {
        std::filesystem::create_directory(std::string(200, 'x'));
        std::filesystem::current_path(std::string(200, 'x'));
    }
    EXPECT_TRUE(fileSystem.RemoveFolder(Path("folder")));
    EXPECT_FALSE(IsAnything(Text("folder")));
}

TEST_F(LocalFileSystemTest, RemovesAFolderWhosePathEndsInSeparators)
{
    std::filesystem::create_directories(Text("folder/below"));
    EXPECT_TRUE(fileSystem.RemoveFolder(Path("folder//")));
    EXPECT_FALSE(IsAnything(Text("folder")));
}

TEST_F(LocalFileSystemTest, RemovesFoldersInsideTheSessionFolder)
{
    std::filesystem::create_directories(session->Path() + "/PDFConverter/pages");
    EXPECT_TRUE(fileSystem.RemoveFolder(ioPath(session->Path() + "/PDFConverter")));
    EXPECT_THAT(NamesIn(session->Path()), IsEmpty());
}

TEST_F(LocalFileSystemTest, WhatLinksInARemovedFolderPointToStays)
{
    std::filesystem::create_directories(Text("kept/folder"));
    WriteFile(Text("kept/file"), "content");
    std::filesystem::create_directories(Text("folder/below"));
    std::filesystem::create_symlink(Text("kept/file"), Text("folder/to a file"));
    std::filesystem::create_directory_symlink(Text("kept"), Text("folder/to a folder"));
    std::filesystem::create_directory_symlink("../../kept", Text("folder/below/relative"));
    std::filesystem::create_directory_symlink("..", Text("folder/below/upwards"));
    std::filesystem::create_symlink("missing", Text("folder/dangling"));
    EXPECT_TRUE(fileSystem.RemoveFolder(Path("folder")));
    EXPECT_FALSE(IsAnything(Text("folder")));
    EXPECT_THAT(NamesIn(Text("kept")), ElementsAre("file", "folder"));
    EXPECT_EQ(ReadFile(Text("kept/file")), "content");
}

TEST_F(LocalFileSystemTest, RefusesToRemoveALinkToAFolderHoweverItIsWritten)
{
    std::filesystem::create_directory(Text("kept"));
    WriteFile(Text("kept/file"), "content");
    std::filesystem::create_directory_symlink("kept", Text("link"));
    for (const char* name : {"link", "link/", "link//", "link/.", "link/./", "link/../kept/."})
        EXPECT_FALSE(fileSystem.RemoveFolder(Path(name))) << name;
    EXPECT_TRUE(IsAnything(Text("link")));
    EXPECT_EQ(ReadFile(Text("kept/file")), "content");
}

TEST_F(LocalFileSystemTest, RefusesToRemoveAFolderThatIsNamedFromInside)
{
    std::filesystem::create_directories(Text("kept/below"));
    const WorkingFolder here(Text("kept/below"));
    for (const char* path : {".", "..", "./", "../", "../below/..", "../../kept/."})
        EXPECT_FALSE(fileSystem.RemoveFolder(ioPath(path))) << path;
    EXPECT_TRUE(IsAnything(Text("kept/below")));
}

TEST_F(LocalFileSystemTest, RefusesToRemoveWhatIsNoFolder)
{
    WriteFile(Text("file"), "content");
    std::filesystem::create_symlink("missing", Text("dangling"));
    for (const std::string& name :
         {std::string("file"), std::string("file/"), std::string("dangling"),
          std::string("missing"), withNul, std::string(100'000, 'x')})
        EXPECT_FALSE(fileSystem.RemoveFolder(Path(name))) << name;
    EXPECT_FALSE(fileSystem.RemoveFolder(ioPath()));
    EXPECT_EQ(ReadFile(Text("file")), "content");
}

TEST_F(LocalFileSystemTest, RefusesToRemoveTheSessionFolderOrWhatItLiesIn)
{
    WriteFile(session->Path() + "/file", "content");
    std::filesystem::create_directory_symlink(folder, Text("link"));
    const std::string name = std::filesystem::path(session->Path()).filename().native();
    for (const std::string& path :
         {session->Path(), session->Path() + "/", session->Path() + "/../" + name,
          folder + "/above/session's parent", folder + "/above", folder + "//above/",
          folder + "/link/above", folder + "/link/above/session's parent/" + name, folder})
        EXPECT_FALSE(fileSystem.RemoveFolder(ioPath(path))) << path;
    const WorkingFolder here(folder);
    EXPECT_FALSE(fileSystem.RemoveFolder(ioPath("above")));
    EXPECT_EQ(ReadFile(session->Path() + "/file"), "content");
}

TEST_F(LocalFileSystemTest, ANeighbourWhoseNameBeginsAsTheSessionFoldersCanBeRemoved)
{
    std::filesystem::create_directory(session->Path() + "x");
    EXPECT_TRUE(fileSystem.RemoveFolder(ioPath(session->Path() + "x")));
    EXPECT_TRUE(IsAnything(session->Path()));
}

TEST_F(LocalFileSystemTest, RefusesToRemoveTheRoot)
{
    WriteFile(Text("file"), "content");
    // In a root of its own: the machine that runs a broken build is to survive.
    ForkedProcess process([this] {
        if (::chroot(folder.c_str()) != 0 &&
            (::unshare(CLONE_NEWUSER) != 0 || ::chroot(folder.c_str()) != 0))
            return 77;
        std::filesystem::current_path("/");
        int removed = 0;
        for (const char* root : {"/", "//", "///", "/.", "/..", ".", "..", "above/..", "./"})
            removed += fileSystem.RemoveFolder(ioPath(root));
        return removed;
    });
    const int removed = process.Wait();
    if (removed == 77)
        GTEST_SKIP() << "may not give a process a root of its own";
    EXPECT_EQ(removed, 0);
    EXPECT_EQ(ReadFile(Text("file")), "content");
    EXPECT_TRUE(IsAnything(session->Path()));
}

TEST_F(LocalFileSystemTest, AFolderThatMayNotBeEmptiedIsNotReportedAsRemoved)
{
    if (IsRoot())
        GTEST_SKIP() << "root may remove everything";
    std::filesystem::create_directories(Text("folder/locked"));
    WriteFile(Text("folder/locked/file"), "content");
    ASSERT_EQ(::chmod(Text("folder/locked").c_str(), 0500), 0);
    EXPECT_FALSE(fileSystem.RemoveFolder(Path("folder")));
    EXPECT_TRUE(IsAnything(Text("folder/locked/file")));
    ASSERT_EQ(::chmod(Text("folder/locked").c_str(), 0700), 0);
}

TEST_F(LocalFileSystemTest, MovesNothingButRegularFiles)
{
    std::filesystem::create_directory(Text("folder"));
    WriteFile(Text("file"), "content");
    std::filesystem::create_symlink("file", Text("link"));
    std::filesystem::create_symlink("missing", Text("dangling"));
    ASSERT_EQ(::mkfifo(Text("pipe").c_str(), 0600), 0);
    for (const char* name : {"folder", "link", "dangling", "pipe", "missing", "file/", "."}) {
        EXPECT_FALSE(fileSystem.Move(Path(name), Path("target"))) << name;
        EXPECT_FALSE(IsAnything(Text("target"))) << name;
    }
    EXPECT_THAT(NamesIn(folder),
                ElementsAre("above", "dangling", "file", "folder", "link", "pipe"));
}

TEST_F(LocalFileSystemTest, MovesNothingOfAnUnusableName)
{
    WriteFile(Text("file"), "content");
    EXPECT_FALSE(fileSystem.Move(Path(withNul), Path("target")));
    EXPECT_FALSE(fileSystem.Move(Path("file"), Path(std::string("target\0behind", 13))));
    EXPECT_FALSE(fileSystem.Move(Path("file"), ioPath()));
    EXPECT_FALSE(fileSystem.Move(ioPath(), Path("target")));
    EXPECT_THAT(NamesIn(folder), ElementsAre("above", "file"));
}

TEST_F(LocalFileSystemTest, AFileMovedOntoItselfStays)
{
    WriteFile(Text("file"), "content");
    std::filesystem::create_hard_link(Text("file"), Text("same file"));
    EXPECT_FALSE(fileSystem.Move(Path("file"), Path("file")));
    EXPECT_FALSE(fileSystem.Move(Path("file"), Path("./file")));
    EXPECT_FALSE(fileSystem.Move(Path("file"), Path("same file")));
    EXPECT_EQ(ReadFile(Text("file")), "content");
    EXPECT_EQ(ReadFile(Text("same file")), "content");
}

TEST_F(LocalFileSystemTest, TheReasonOfAFailureGoesToTheLog)
{
    WriteFile(Text("file"), "content");
    const std::vector<std::pair<std::function<bool()>, std::vector<std::string>>> failures{
        {[this] { return fileSystem.Move(Path("missing"), Path("target")); },
         {"move", Text("missing"), Text("target"), "No such file or directory"}},
        {[this] { return fileSystem.Move(Path("file"), Path("file")); },
         {"move", Text("file"), "File exists"}},
        {[this] { return fileSystem.CreateFolder(Path("file")); },
         {"create", Text("file"), "File exists"}},
        {[this] { return fileSystem.RemoveFolder(Path("file")); }, {"remove", Text("file")}}};
    for (const auto& [operation, texts] : failures) {
        const ServicesMessages log;
        EXPECT_FALSE(operation());
        ASSERT_EQ(log.Texts().size(), 1u);
        for (const std::string& text : texts)
            EXPECT_THAT(log.Texts().front(), HasSubstr(text));
    }
}

} // namespace Korvel::PDF::Test
