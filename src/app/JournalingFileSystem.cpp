#include "JournalingFileSystem.h"

#include "Checksum.h"
#include "Journal.h"

#include <utility>

namespace Korvel::App {

JournalingFileSystem::JournalingFileSystem(std::shared_ptr<PDF::IFileSystem> inner,
                                           Journal& journal)
    : ForwardingFileSystem(std::move(inner)), journal(journal)
{
}

bool JournalingFileSystem::Move(const ioPath& from, const ioPath& to)
{
    const QString source = QString::fromStdString(from.utf8string());
    const QString target = QString::fromStdString(to.utf8string());
    const auto sum = Checksum::Of(from.utf8string());
    const bool isOwn = journal.HasPlaced(target);
    if (!sum || !Journal::FlushToDisk(source) || !journal.Placing(target, *sum))
        return false;
    const bool isPlaced = inner->Move(from, to);
    if (!isPlaced && !isOwn)
        journal.Refused(target, *sum);
    return isPlaced;
}

} // namespace Korvel::App
