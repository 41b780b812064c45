#include "RememberingFileSystem.h"

#include <utility>

using Korvel::ioPath;

RememberingFileSystem::RememberingFileSystem(std::shared_ptr<IFileSystem> inner)
    : inner(std::move(inner))
{
}

//! [forward]
ioPath RememberingFileSystem::GetTempFolder()
{
    return inner->GetTempFolder();
}

bool RememberingFileSystem::RemoveFolder(const ioPath& folder)
{
    return inner->RemoveFolder(folder);
}

bool RememberingFileSystem::Exists(const ioPath& path)
{
    return inner->Exists(path);
}

bool RememberingFileSystem::CreateFolder(const ioPath& folder)
{
    return inner->CreateFolder(folder);
}
//! [forward]

//! [move]
bool RememberingFileSystem::Move(const ioPath& from, const ioPath& to)
{
    if (!inner->Move(from, to))
        return false;
    const std::lock_guard lock(mutex);
    moved.push_back({from, to});
    return true;
}

std::vector<RememberingFileSystem::Moved> RememberingFileSystem::TakeMoved()
{
    const std::lock_guard lock(mutex);
    return std::exchange(moved, {});
}
//! [move]
