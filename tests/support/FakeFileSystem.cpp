#include "FakeFileSystem.h"

namespace Korvel::PDF::Test {

FakeFileSystem::FakeFileSystem(std::string tempFolder, std::shared_ptr<CallJournal> journal)
    : folders{tempFolder}, tempFolder(std::move(tempFolder)), journal(std::move(journal))
{
}

FakeFileSystem::~FakeFileSystem()
{
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
    if (!removesFolders || folders.erase(folder.utf8string()) == 0)
        return false;
    const std::string inside = folder.utf8string() + "/";
    files.erase(files.lower_bound(inside), files.lower_bound(folder.utf8string() + "0"));
    return true;
}

bool FakeFileSystem::Exists(const ioPath& path)
{
    journal->push_back("Exists " + path.utf8string());
    return files.count(path.utf8string()) > 0 || folders.count(path.utf8string()) > 0;
}

bool FakeFileSystem::Move(const ioPath& from, const ioPath& to)
{
    journal->push_back("Move " + from.utf8string() + " to " + to.utf8string());
    if (onMove)
        onMove();
    const auto file = files.find(from.utf8string());
    if (!movesFiles || file == files.end() || files.count(to.utf8string()) > 0)
        return false;
    files[to.utf8string()] = file->second;
    files.erase(file);
    return true;
}

bool FakeFileSystem::CreateFolder(const ioPath& folder)
{
    journal->push_back("CreateFolder " + folder.utf8string());
    return createsFolders && folders.insert(folder.utf8string()).second;
}

} // namespace Korvel::PDF::Test
