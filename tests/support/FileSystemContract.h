#pragma once

#include "IFileSystem.h"

#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <QTemporaryDir>

namespace Korvel::PDF::Test {

/** A file system to hold against the contract, and how a test makes and reads its files. */
struct FileSystemUnderTest
{
    std::shared_ptr<IFileSystem> fileSystem;
    std::function<void(const std::string& path, const std::string& content)> makeFile;
    std::function<std::string(const std::string& path)> readFile;
};

/** For a file system that works on real folders. */
inline FileSystemUnderTest OverRealFolders(std::shared_ptr<IFileSystem> fileSystem)
{
    const auto make = [](const std::string& path, const std::string& content) {
        std::ofstream(path) << content;
    };
    const auto read = [](const std::string& path) {
        std::ostringstream content;
        content << std::ifstream(path).rdbuf();
        return content.str();
    };
    return {std::move(fileSystem), make, read};
}

/**
 * What every IFileSystem must do, the fakes and the real one alike.
 *
 *     INSTANTIATE_TEST_SUITE_P(MyFileSystem, FileSystemContract, testing::Values(factory));
 *
 * The factory is given a new folder, which the file system takes for its temporary one.
 */
class FileSystemContract
    : public testing::TestWithParam<FileSystemUnderTest (*)(const std::string& folder)>
{
protected:
    std::string Text(const std::string& name) const
    {
        return tested.fileSystem->GetTempFolder().utf8string() + "/" + name;
    }

    ioPath Path(const std::string& name) const { return ioPath(Text(name)); }

    QTemporaryDir folder;
    FileSystemUnderTest tested = GetParam()(folder.path().toStdString());
    IFileSystem& fileSystem = *tested.fileSystem;
};

TEST_P(FileSystemContract, TheTempFolderExistsAndEndsInNoSeparator)
{
    const ioPath temp = fileSystem.GetTempFolder();
    EXPECT_TRUE(fileSystem.Exists(temp));
    EXPECT_NE(temp.utf8string().back(), '/');
}

TEST_P(FileSystemContract, ExistsAnswersTrueForAFileAndForAFolder)
{
    EXPECT_FALSE(fileSystem.Exists(Path("new")));
    EXPECT_TRUE(fileSystem.CreateFolder(Path("new")));
    EXPECT_TRUE(fileSystem.Exists(Path("new")));
    tested.makeFile(Text("new/file"), "content");
    EXPECT_TRUE(fileSystem.Exists(Path("new/file")));
}

TEST_P(FileSystemContract, MoveOntoAnExistingFileAnswersFalseAndReplacesNothing)
{
    tested.makeFile(Text("from"), "new");
    tested.makeFile(Text("to"), "old");
    EXPECT_FALSE(fileSystem.Move(Path("from"), Path("to")));
    EXPECT_EQ(tested.readFile(Text("from")), "new");
    EXPECT_EQ(tested.readFile(Text("to")), "old");
}

TEST_P(FileSystemContract, MoveBringsTheFileToItsNewPath)
{
    tested.makeFile(Text("from"), "content");
    EXPECT_TRUE(fileSystem.Move(Path("from"), Path("to")));
    EXPECT_FALSE(fileSystem.Exists(Path("from")));
    EXPECT_EQ(tested.readFile(Text("to")), "content");
}

TEST_P(FileSystemContract, MoveOfAMissingFileAnswersFalse)
{
    EXPECT_FALSE(fileSystem.Move(Path("missing"), Path("to")));
    EXPECT_FALSE(fileSystem.Exists(Path("to")));
}

TEST_P(FileSystemContract, RemoveFolderTakesTheFilesInsideWithIt)
{
    ASSERT_TRUE(fileSystem.CreateFolder(Path("new")));
    tested.makeFile(Text("new/file"), "content");
    tested.makeFile(Text("new-neighbour"), "content");
    EXPECT_TRUE(fileSystem.RemoveFolder(Path("new")));
    EXPECT_FALSE(fileSystem.Exists(Path("new")));
    EXPECT_FALSE(fileSystem.Exists(Path("new/file")));
    EXPECT_TRUE(fileSystem.Exists(Path("new-neighbour")));
}

TEST_P(FileSystemContract, RemoveFolderOfAMissingFolderAnswersFalse)
{
    EXPECT_FALSE(fileSystem.RemoveFolder(Path("missing")));
}

} // namespace Korvel::PDF::Test
