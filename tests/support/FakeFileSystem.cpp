#include "FakeFileSystem.h"

namespace Korvel::PDF::Test {

namespace {

template <typename Paths>
void EraseBelow(const std::string& folder, Paths& paths)
{
    const char afterSlash = '/' + 1;
    paths.erase(paths.lower_bound(folder + '/'), paths.lower_bound(folder + afterSlash));
}

} // namespace

FakeFileSystem::FakeFileSystem(std::string tempFolder, std::shared_ptr<CallJournal> journal)
    : folders{tempFolder}, tempFolder(std::move(tempFolder)), journal(std::move(journal))
{
}

FakeFileSystem::~FakeFileSystem()
{
    if (onDestruction)
        onDestruction();
    journal->push_back("~FakeFileSystem");
}

ioPath FakeFileSystem::GetTempFolder()
{
    journal->push_back("GetTempFolder");
    return ioPath(tempFolder);
}

bool FakeFileSystem::RemoveFolder(const ioPath& folder)
{
    journal->push_back("RemoveFolder " + folder.utf8string());
    if (onRemoveFolder)
        onRemoveFolder();
    if (!removesFolders || folders.erase(folder.utf8string()) == 0)
        return false;
    EraseBelow(folder.utf8string(), files);
    EraseBelow(folder.utf8string(), folders);
    return true;
}

bool FakeFileSystem::Exists(const ioPath& path)
{
    journal->push_back("Exists " + path.utf8string());
    return seesFiles &&
           (files.count(path.utf8string()) > 0 || folders.count(path.utf8string()) > 0);
}

bool FakeFileSystem::Move(const ioPath& from, const ioPath& to)
{
    journal->push_back("Move " + from.utf8string() + " to " + to.utf8string());
    if (onMove)
        onMove();
    const auto file = files.find(from.utf8string());
    if (!movesFiles || file == files.end() || !IsFree(to.utf8string()))
        return false;
    files[to.utf8string()] = file->second;
    files.erase(file);
    return true;
}

bool FakeFileSystem::CreateFolder(const ioPath& folder)
{
    journal->push_back("CreateFolder " + folder.utf8string());
    if (!createsFolders || !IsFree(folder.utf8string()))
        return false;
    folders.insert(folder.utf8string());
    return true;
}

bool FakeFileSystem::IsFree(const std::string& path) const
{
    const bool isBelow = path.rfind(tempFolder + '/', 0) == 0;
    if (isBelow && folders.count(path.substr(0, path.rfind('/'))) == 0)
        return false;
    const bool canBeMade = !path.empty() && path.find('\0') == std::string::npos;
    return canBeMade && folders.count(path) == 0 && files.count(path) == 0;
}

} // namespace Korvel::PDF::Test
