#pragma once

#include "ContractGuard.h"
#include "IFileSystem.h"

#include <filesystem>
#include <fstream>
#include <ios>
#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <QTemporaryDir>
#include <QUuid>

namespace Korvel::PDF::TestKit {

/** The file system that FileSystemContract checks, and how a test makes and reads its files. */
class FileSystemFixture : public testing::Test
{
public:
    /** The object to check, the same one during a test. */
    virtual IFileSystem& FileSystem() = 0;

    /** Writes a new file. On the real file system, unless overridden. */
    virtual void MakeFile(const std::string& path, const std::string& content)
    {
        std::ofstream(path, std::ios::binary) << content;
    }

    /** The content of a file, empty when there is none. */
    virtual std::string ReadFile(const std::string& path)
    {
        std::ostringstream content;
        content << std::ifstream(path, std::ios::binary).rdbuf();
        return content.str();
    }

    /** An existing folder on another volume than the one for temporary files; empty for none. */
    virtual std::string FolderOnAnotherVolume() { return {}; }
};

/** Passes every call on, and fails the running test when one throws. */
class NeverThrowingFileSystem : public IFileSystem
{
public:
    /** Passes calls on to the fixture's file system. */
    explicit NeverThrowingFileSystem(FileSystemFixture& given) : fixture(given) {}

    ioPath GetTempFolder() override
    {
        return Unthrown("IFileSystem::GetTempFolder must throw nothing",
                        [this] { return fixture.FileSystem().GetTempFolder(); });
    }

    bool RemoveFolder(const ioPath& folder) override
    {
        return Unthrown("IFileSystem::RemoveFolder must throw nothing",
                        [&] { return fixture.FileSystem().RemoveFolder(folder); });
    }

    bool Exists(const ioPath& path) override
    {
        return Unthrown("IFileSystem::Exists must throw nothing",
                        [&] { return fixture.FileSystem().Exists(path); });
    }

    bool Move(const ioPath& from, const ioPath& to) override
    {
        return Unthrown("IFileSystem::Move must throw nothing",
                        [&] { return fixture.FileSystem().Move(from, to); });
    }

    bool CreateFolder(const ioPath& folder) override
    {
        return Unthrown("IFileSystem::CreateFolder must throw nothing",
                        [&] { return fixture.FileSystem().CreateFolder(folder); });
    }

private:
    FileSystemFixture& fixture;
};

/**
 * Checks a file system against everything that IFileSystem promises.
 *
 *     class MyFileSystemTest : public Korvel::PDF::TestKit::FileSystemFixture
 *     {
 *     public:
 *         Korvel::PDF::IFileSystem& FileSystem() override { return files; }
 *         MyFileSystem files;
 *     };
 *
 *     using namespace Korvel::PDF::TestKit;
 *     INSTANTIATE_TYPED_TEST_SUITE_P(Mine, FileSystemContract, MyFileSystemTest);
 *
 * - No operation throws, whatever path it is given.
 * - The folder for temporary files exists, and its text ends in no separator; nobody else can
 *   look into it.
 * - Exists tells of files and of folders.
 * - CreateFolder creates one folder; where something is, or the parent is missing, it answers
 * false.
 * - Move brings a file to another path, byte by byte, to another volume as well. It never replaces;
 *   when it answers false, nothing has changed at either path.
 * - RemoveFolder takes everything inside with it, and nothing beside it; it never
 *   follows a link.
 * - A path that is empty, too long or holds a NUL names nothing, and nothing can be made there.
 * - Names are UTF-8.
 *
 * Every test works in a folder of its own inside the one for temporary files, and removes it.
 */
template <typename Fixture>
class FileSystemContract : public Fixture
{
protected:
    /** Makes the folder of this test. */
    void SetUp() override
    {
        Fixture::SetUp();
        folder = files.GetTempFolder().utf8string() + "/contract" +
                 QUuid::createUuid().toString(QUuid::WithoutBraces).toStdString();
        ASSERT_TRUE(files.CreateFolder(ioPath(folder)))
            << "IFileSystem::CreateFolder must create a folder in the one for temporary files";
    }

    /** Removes the folder of this test. */
    void TearDown() override
    {
        files.RemoveFolder(ioPath(folder));
        Fixture::TearDown();
    }

    /** The path of `name` in the folder of this test. */
    std::string Text(const std::string& name) const { return folder + "/" + name; }
    /** The same as a path. */
    ioPath Path(const std::string& name) const { return ioPath(Text(name)); }

    /** Writes a new file in the folder of this test. */
    void Make(const std::string& name, const std::string& content)
    {
        application.MakeFile(Text(name), content);
    }

    /** The content of a file there, empty when there is none. */
    std::string Read(const std::string& name) { return application.ReadFile(Text(name)); }

    /** The fixture. */
    FileSystemFixture& application = *this;
    /** The file system that is checked. */
    NeverThrowingFileSystem files{application};
    /** The folder of this test. */
    std::string folder;
};

TYPED_TEST_SUITE_P(FileSystemContract);

TYPED_TEST_P(FileSystemContract, TheTempFolderExists)
{
    const ioPath temp = this->files.GetTempFolder();
    EXPECT_TRUE(this->files.Exists(temp))
        << "IFileSystem::GetTempFolder must answer a folder that exists, not " << temp;
}

TYPED_TEST_P(FileSystemContract, TheTempFolderEndsInNoSeparator)
{
    const std::string temp = this->files.GetTempFolder().utf8string();
    EXPECT_TRUE(!temp.empty() && temp.back() != '/')
        << "IFileSystem::GetTempFolder must answer a path without a trailing separator, not \""
        << temp << '"';
}

TYPED_TEST_P(FileSystemContract, TheTempFolderIsPrivate)
{
    using std::filesystem::perms;
    std::error_code problem;
    const auto status = std::filesystem::status(this->files.GetTempFolder().utf8string(), problem);
    if (!std::filesystem::is_directory(this->folder, problem))
        GTEST_SKIP() << "its folder for temporary files is none of the system's";
    EXPECT_EQ(status.permissions() & (perms::group_all | perms::others_all), perms::none)
        << "IFileSystem::GetTempFolder must answer a folder that nobody else can look into";
}

TYPED_TEST_P(FileSystemContract, ExistsTellsOfAFile)
{
    EXPECT_FALSE(this->files.Exists(this->Path("file")))
        << "IFileSystem::Exists must answer false where nothing is";
    this->Make("file", "content");
    EXPECT_TRUE(this->files.Exists(this->Path("file")))
        << "IFileSystem::Exists must answer true for a file";
    EXPECT_FALSE(this->files.Exists(this->Path("file/below")))
        << "IFileSystem::Exists must answer false for a path below a file";
}

TYPED_TEST_P(FileSystemContract, ExistsTellsOfAFolder)
{
    EXPECT_TRUE(this->files.CreateFolder(this->Path("folder")));
    EXPECT_TRUE(this->files.Exists(this->Path("folder")))
        << "IFileSystem::Exists must answer true for a folder";
    EXPECT_FALSE(this->files.Exists(this->Path("folder/missing")))
        << "IFileSystem::Exists must answer false where nothing is";
}

TYPED_TEST_P(FileSystemContract, CreateFolderMakesAFolderThatTakesFiles)
{
    EXPECT_TRUE(this->files.CreateFolder(this->Path("folder")))
        << "IFileSystem::CreateFolder must answer true when the folder was created";
    this->Make("folder/file", "content");
    EXPECT_EQ(this->Read("folder/file"), "content")
        << "IFileSystem::CreateFolder must create a folder in which files can be made";
}

TYPED_TEST_P(FileSystemContract, CreateFolderAnswersFalseWhereSomethingIs)
{
    this->Make("file", "content");
    EXPECT_TRUE(this->files.CreateFolder(this->Path("folder")));
    this->Make("folder/inside", "content");
    for (const char* taken : {"file", "folder"})
        EXPECT_FALSE(this->files.CreateFolder(this->Path(taken)))
            << "IFileSystem::CreateFolder must answer false when there is a " << taken
            << " already";
    EXPECT_EQ(this->Read("file"), "content")
        << "IFileSystem::CreateFolder must not touch a file that is in its way";
    EXPECT_EQ(this->Read("folder/inside"), "content")
        << "IFileSystem::CreateFolder must not touch a folder that is there already";
}

TYPED_TEST_P(FileSystemContract, CreateFolderAnswersFalseWhenTheParentIsMissing)
{
    EXPECT_FALSE(this->files.CreateFolder(this->Path("missing/folder")))
        << "IFileSystem::CreateFolder must answer false when the parent is missing";
    EXPECT_FALSE(this->files.Exists(this->Path("missing")))
        << "IFileSystem::CreateFolder must create one folder, and not its parents";
}

TYPED_TEST_P(FileSystemContract, MoveBringsTheFileToItsNewPath)
{
    this->Make("from", "content");
    EXPECT_TRUE(this->files.CreateFolder(this->Path("folder")));
    EXPECT_TRUE(this->files.Move(this->Path("from"), this->Path("folder/to")))
        << "IFileSystem::Move must answer true when the file lies at its new path";
    EXPECT_EQ(this->Read("folder/to"), "content")
        << "IFileSystem::Move must bring the file to its new path";
    EXPECT_FALSE(this->files.Exists(this->Path("from")))
        << "IFileSystem::Move must leave nothing at the old path";
}

TYPED_TEST_P(FileSystemContract, MoveKeepsEveryByte)
{
    std::string content;
    for (int i = 0; i < 300'000; ++i)
        content += static_cast<char>(i % 251);
    this->Make("large", content);
    this->Make("empty", "");
    EXPECT_TRUE(this->files.Move(this->Path("large"), this->Path("large there")));
    EXPECT_TRUE(this->Read("large there") == content)
        << "IFileSystem::Move must keep every byte of a file";
    EXPECT_TRUE(this->files.Move(this->Path("empty"), this->Path("empty there")))
        << "IFileSystem::Move must move an empty file, too";
    EXPECT_TRUE(this->files.Exists(this->Path("empty there")))
        << "IFileSystem::Move must move an empty file, too";
}

TYPED_TEST_P(FileSystemContract, MoveGoesToAnotherVolume)
{
    const std::string there = this->application.FolderOnAnotherVolume();
    if (there.empty())
        GTEST_SKIP() << "no folder on another volume was given";
    const std::string name = std::filesystem::path(this->folder).filename().string();
    this->Make("from", "content");
    EXPECT_TRUE(this->files.Move(this->Path("from"), ioPath(there + "/" + name)))
        << "IFileSystem::Move must move to another volume, too";
    EXPECT_EQ(this->application.ReadFile(there + "/" + name), "content")
        << "IFileSystem::Move must keep every byte of a file that goes to another volume";
    EXPECT_FALSE(this->files.Exists(this->Path("from")))
        << "IFileSystem::Move must leave nothing at the old path";
    this->files.Move(ioPath(there + "/" + name), this->Path("back"));
}

TYPED_TEST_P(FileSystemContract, MoveNeverReplacesAFile)
{
    this->Make("from", "new");
    this->Make("to", "old");
    EXPECT_FALSE(this->files.Move(this->Path("from"), this->Path("to")))
        << "IFileSystem::Move must answer false when a file exists at the target";
    EXPECT_EQ(this->Read("to"), "old") << "IFileSystem::Move must never replace an existing file";
    EXPECT_EQ(this->Read("from"), "new")
        << "IFileSystem::Move must leave the file where it is when it answers false";
}

TYPED_TEST_P(FileSystemContract, MoveNeverReplacesAFolder)
{
    this->Make("from", "content");
    EXPECT_TRUE(this->files.CreateFolder(this->Path("folder")));
    EXPECT_FALSE(this->files.Move(this->Path("from"), this->Path("folder")))
        << "IFileSystem::Move must answer false when a folder exists at the target";
    EXPECT_EQ(this->Read("from"), "content")
        << "IFileSystem::Move must leave the file where it is when it answers false";
    EXPECT_FALSE(this->files.Exists(this->Path("folder/from")))
        << "IFileSystem::Move must not move into a folder that exists at the target";
    EXPECT_TRUE(this->files.CreateFolder(this->Path("folder/below")))
        << "IFileSystem::Move must never replace an existing folder";
}

TYPED_TEST_P(FileSystemContract, MoveOntoItselfAnswersFalseAndKeepsTheFile)
{
    this->Make("file", "content");
    EXPECT_FALSE(this->files.Move(this->Path("file"), this->Path("file")))
        << "IFileSystem::Move must answer false when a file is to be moved onto itself";
    EXPECT_EQ(this->Read("file"), "content")
        << "IFileSystem::Move must keep a file that is to be moved onto itself";
}

TYPED_TEST_P(FileSystemContract, MoveOfAMissingFileAnswersFalse)
{
    EXPECT_FALSE(this->files.Move(this->Path("missing"), this->Path("to")))
        << "IFileSystem::Move must answer false when there is no file to move";
    EXPECT_FALSE(this->files.Exists(this->Path("to")))
        << "IFileSystem::Move must leave nothing at the target when it answers false";
}

TYPED_TEST_P(FileSystemContract, MoveIntoAMissingFolderAnswersFalse)
{
    this->Make("file", "content");
    EXPECT_FALSE(this->files.Move(this->Path("file"), this->Path("missing/file")))
        << "IFileSystem::Move must answer false when the target's folder is missing";
    EXPECT_EQ(this->Read("file"), "content")
        << "IFileSystem::Move must leave the file where it is when it answers false";
    EXPECT_FALSE(this->files.Exists(this->Path("missing")))
        << "IFileSystem::Move must leave nothing at the target when it answers false";
}

TYPED_TEST_P(FileSystemContract, RemoveFolderTakesEverythingInside)
{
    EXPECT_TRUE(this->files.CreateFolder(this->Path("folder")));
    EXPECT_TRUE(this->files.CreateFolder(this->Path("folder/in")));
    EXPECT_TRUE(this->files.CreateFolder(this->Path("folder/in/folder")));
    this->Make("folder/file", "content");
    this->Make("folder/in/folder/file", "content");
    EXPECT_TRUE(this->files.RemoveFolder(this->Path("folder")))
        << "IFileSystem::RemoveFolder must answer true when the folder is gone";
    for (const char* gone : {"folder", "folder/file", "folder/in", "folder/in/folder/file"})
        EXPECT_FALSE(this->files.Exists(this->Path(gone)))
            << "IFileSystem::RemoveFolder must remove everything inside; it left " << gone;
}

TYPED_TEST_P(FileSystemContract, RemoveFolderTakesAnEmptyFolder)
{
    EXPECT_TRUE(this->files.CreateFolder(this->Path("folder")));
    EXPECT_TRUE(this->files.RemoveFolder(this->Path("folder")))
        << "IFileSystem::RemoveFolder must answer true when the folder is gone";
    EXPECT_FALSE(this->files.Exists(this->Path("folder")))
        << "IFileSystem::RemoveFolder must remove the folder itself";
}

TYPED_TEST_P(FileSystemContract, RemoveFolderTakesNothingBesideTheFolder)
{
    for (const char* name : {"folder", "folder neighbour", "folder0"})
        EXPECT_TRUE(this->files.CreateFolder(this->Path(name)));
    this->Make("folder neighbour/file", "content");
    this->Make("folder.file", "content");
    EXPECT_TRUE(this->files.RemoveFolder(this->Path("folder")));
    for (const char* kept : {"folder neighbour/file", "folder.file", "folder0"})
        EXPECT_TRUE(this->files.Exists(this->Path(kept)))
            << "IFileSystem::RemoveFolder must remove nothing beside the folder; it removed "
            << kept;
}

TYPED_TEST_P(FileSystemContract, RemoveFolderFollowsNoLink)
{
    for (const char* name : {"folder", "neighbour"})
        EXPECT_TRUE(this->files.CreateFolder(this->Path(name)));
    this->Make("neighbour/file", "content");
    std::error_code problem;
    for (const char* link : {"link", "folder/link"})
        std::filesystem::create_directory_symlink(this->Text("neighbour"), this->Text(link),
                                                  problem);
    if (problem)
        GTEST_SKIP() << "links cannot be made there";
    for (const char* folder : {"link", "folder"})
        this->files.RemoveFolder(this->Path(folder));
    EXPECT_TRUE(this->files.Exists(this->Path("neighbour/file")))
        << "IFileSystem::RemoveFolder must never follow a link";
}

TYPED_TEST_P(FileSystemContract, RemoveFolderOfAMissingFolderAnswersFalse)
{
    EXPECT_FALSE(this->files.RemoveFolder(this->Path("missing")))
        << "IFileSystem::RemoveFolder must answer false when there is no such folder";
}

TYPED_TEST_P(FileSystemContract, NoPathLetsAnOperationThrow)
{
    this->Make("file", "content");
    const std::string longName(100'000, 'x');
    for (const std::string& unusable :
         {longName, std::string("file/below"), std::string("\xff\xfe not UTF-8")}) {
        const ioPath path = this->Path(unusable);
        this->files.Exists(path);
        this->files.Move(path, this->Path("to"));
        this->files.RemoveFolder(path);
    }
    EXPECT_FALSE(this->files.Exists(this->Path(longName)))
        << "IFileSystem::Exists must answer false for a name that is too long to exist";
    EXPECT_EQ(this->Read("file"), "content");
}

TYPED_TEST_P(FileSystemContract, AnEmptyPathNamesNothing)
{
    this->Make("file", "content");
    // Whoever takes it for the working folder is not to remove the one of this program.
    const QTemporaryDir here;
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(here.path().toStdString());
    EXPECT_FALSE(this->files.Exists(ioPath()))
        << "IFileSystem::Exists must answer false for the empty path";
    EXPECT_FALSE(this->files.CreateFolder(ioPath()))
        << "IFileSystem::CreateFolder must answer false for the empty path";
    EXPECT_FALSE(this->files.RemoveFolder(ioPath()))
        << "IFileSystem::RemoveFolder must answer false for the empty path";
    EXPECT_FALSE(this->files.Move(this->Path("file"), ioPath()))
        << "IFileSystem::Move must answer false for an empty target";
    EXPECT_FALSE(this->files.Move(ioPath(), this->Path("to")))
        << "IFileSystem::Move must answer false for an empty source";
    std::filesystem::current_path(before);
    EXPECT_EQ(this->Read("file"), "content")
        << "IFileSystem::Move must leave the file where it is when it answers false";
}

TYPED_TEST_P(FileSystemContract, ANulDoesNotEndAPath)
{
    const std::string nul(1, '\0');
    this->Make("file", "content");
    EXPECT_TRUE(this->files.CreateFolder(this->Path("folder")));
    EXPECT_FALSE(this->files.Exists(this->Path("file" + nul)))
        << "IFileSystem::Exists must not answer for what stands before a NUL";
    EXPECT_FALSE(this->files.Move(this->Path("file" + nul), this->Path("to")))
        << "IFileSystem::Move must not move what stands before a NUL";
    EXPECT_FALSE(this->files.Move(this->Path("file"), this->Path("to" + nul + "x")))
        << "IFileSystem::Move must answer false for a target that holds a NUL";
    EXPECT_FALSE(this->files.Exists(this->Path("to")))
        << "IFileSystem::Move must not move to what stands before a NUL";
    EXPECT_FALSE(this->files.CreateFolder(this->Path("new" + nul + "x")))
        << "IFileSystem::CreateFolder must answer false for a path that holds a NUL";
    EXPECT_FALSE(this->files.Exists(this->Path("new")))
        << "IFileSystem::CreateFolder must not create what stands before a NUL";
    EXPECT_FALSE(this->files.RemoveFolder(this->Path("folder" + nul + "x")))
        << "IFileSystem::RemoveFolder must not remove what stands before a NUL";
    EXPECT_EQ(this->Read("file"), "content")
        << "IFileSystem::Move must leave the file where it is when it answers false";
    EXPECT_TRUE(this->files.Exists(this->Path("folder")))
        << "IFileSystem::RemoveFolder must not remove what stands before a NUL";
}

TYPED_TEST_P(FileSystemContract, NamesAreUtf8)
{
    const std::string name = "\xC3\x9C"
                             "bung \xE6\x96\x87\xE6\x9B\xB8 \xF0\x9F\x98\x80";
    EXPECT_TRUE(this->files.CreateFolder(this->Path(name)))
        << "IFileSystem::CreateFolder must take a name beyond ASCII";
    this->Make("from", "content");
    EXPECT_TRUE(this->files.Move(this->Path("from"), this->Path(name + "/" + name)))
        << "IFileSystem::Move must take a name beyond ASCII";
    EXPECT_EQ(this->Read(name + "/" + name), "content")
        << "IFileSystem::Move must take a name for UTF-8";
    EXPECT_TRUE(this->files.Exists(this->Path(name + "/" + name)))
        << "IFileSystem::Exists must take a name for UTF-8";
    EXPECT_TRUE(this->files.RemoveFolder(this->Path(name)))
        << "IFileSystem::RemoveFolder must take a name beyond ASCII";
    EXPECT_FALSE(this->files.Exists(this->Path(name)))
        << "IFileSystem::RemoveFolder must take a name for UTF-8";
}

REGISTER_TYPED_TEST_SUITE_P(FileSystemContract, TheTempFolderExists, TheTempFolderEndsInNoSeparator,
                            TheTempFolderIsPrivate, ExistsTellsOfAFile, ExistsTellsOfAFolder,
                            CreateFolderMakesAFolderThatTakesFiles,
                            CreateFolderAnswersFalseWhereSomethingIs,
                            CreateFolderAnswersFalseWhenTheParentIsMissing,
                            MoveBringsTheFileToItsNewPath, MoveKeepsEveryByte,
                            MoveGoesToAnotherVolume, MoveNeverReplacesAFile,
                            MoveNeverReplacesAFolder, MoveOntoItselfAnswersFalseAndKeepsTheFile,
                            MoveOfAMissingFileAnswersFalse, MoveIntoAMissingFolderAnswersFalse,
                            RemoveFolderTakesEverythingInside, RemoveFolderTakesAnEmptyFolder,
                            RemoveFolderTakesNothingBesideTheFolder, RemoveFolderFollowsNoLink,
                            RemoveFolderOfAMissingFolderAnswersFalse, NoPathLetsAnOperationThrow,
                            AnEmptyPathNamesNothing, ANulDoesNotEndAPath, NamesAreUtf8);

} // namespace Korvel::PDF::TestKit
