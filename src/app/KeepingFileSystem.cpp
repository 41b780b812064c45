#include "KeepingFileSystem.h"

#include <utility>

namespace Korvel::App {

KeepingFileSystem::KeepingFileSystem(std::shared_ptr<PDF::IFileSystem> inner)
    : inner(std::move(inner))
{
}

ioPath KeepingFileSystem::GetTempFolder()
{
    return inner->GetTempFolder();
}

bool KeepingFileSystem::RemoveFolder(const ioPath&)
{
    return true;
}

bool KeepingFileSystem::Exists(const ioPath& path)
{
    return inner->Exists(path);
}

bool KeepingFileSystem::Move(const ioPath& from, const ioPath& to)
{
    return inner->Move(from, to);
}

bool KeepingFileSystem::CreateFolder(const ioPath& folder)
{
    return inner->CreateFolder(folder);
}

} // namespace Korvel::App
