#include "FolderFileSystem.h"

#include <filesystem>

namespace Korvel::PDF::Test {

FolderFileSystem::FolderFileSystem(std::string tempFolder) : tempFolder(std::move(tempFolder)) {}

ioPath FolderFileSystem::GetTempFolder()
{
    return ioPath(tempFolder);
}

bool FolderFileSystem::RemoveFolder(const ioPath& folder)
{
    std::error_code error;
    return std::filesystem::remove_all(folder.utf8string(), error) > 0 && !error;
}

bool FolderFileSystem::Exists(const ioPath& path)
{
    std::error_code error;
    return std::filesystem::exists(path.utf8string(), error);
}

bool FolderFileSystem::Move(const ioPath& from, const ioPath& to)
{
    std::error_code error;
    if (Exists(to))
        return false;
    std::filesystem::rename(from.utf8string(), to.utf8string(), error);
    return !error;
}

bool FolderFileSystem::CreateFolder(const ioPath& folder)
{
    std::error_code error;
    return std::filesystem::create_directory(folder.utf8string(), error);
}

} // namespace Korvel::PDF::Test
