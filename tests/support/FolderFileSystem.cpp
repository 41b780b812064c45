#include "FolderFileSystem.h"

#include <filesystem>

namespace Korvel::PDF::Test {

namespace {

/** Empty for a text that the system would cut at its NUL. */
std::filesystem::path Usable(const ioPath& path)
{
    const std::string text = path.utf8string();
    return text.find('\0') == std::string::npos ? text : std::string();
}

} // namespace

FolderFileSystem::FolderFileSystem(std::string tempFolder) : tempFolder(std::move(tempFolder)) {}

ioPath FolderFileSystem::GetTempFolder()
{
    return ioPath(tempFolder);
}

bool FolderFileSystem::RemoveFolder(const ioPath& folder)
{
    std::error_code error;
    return std::filesystem::remove_all(Usable(folder), error) > 0 && !error;
}

bool FolderFileSystem::Exists(const ioPath& path)
{
    std::error_code error;
    return std::filesystem::exists(Usable(path), error);
}

bool FolderFileSystem::Move(const ioPath& from, const ioPath& to)
{
    std::error_code error;
    if (Exists(to))
        return false;
    std::filesystem::rename(Usable(from), Usable(to), error);
    return !error;
}

bool FolderFileSystem::CreateFolder(const ioPath& folder)
{
    std::error_code error;
    return std::filesystem::create_directory(Usable(folder), error);
}

} // namespace Korvel::PDF::Test
