#include "JournalingFileSystem.h"

#include "Checksum.h"
#include "Journal.h"

#include <utility>

namespace Korvel::App {

JournalingFileSystem::JournalingFileSystem(std::shared_ptr<PDF::IFileSystem> inner,
                                           Journal& journal)
    : inner(std::move(inner)), journal(journal)
{
}

ioPath JournalingFileSystem::GetTempFolder()
{
    return inner->GetTempFolder();
}

bool JournalingFileSystem::RemoveFolder(const ioPath& folder)
{
    return inner->RemoveFolder(folder);
}

bool JournalingFileSystem::Exists(const ioPath& path)
{
    return inner->Exists(path);
}

bool JournalingFileSystem::Move(const ioPath& from, const ioPath& to)
{
    const auto sum = Checksum::Of(from.utf8string());
    return sum && Journal::FlushToDisk(QString::fromStdString(from.utf8string())) &&
           journal.Placing(QString::fromStdString(to.utf8string()), *sum) && inner->Move(from, to);
}

bool JournalingFileSystem::CreateFolder(const ioPath& folder)
{
    return inner->CreateFolder(folder);
}

} // namespace Korvel::App
