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
    if (!sum || !Journal::FlushToDisk(source) || !journal.Placing(target, *sum))
        return false;
    if (inner->Move(from, to))
        return true;
    if (!journal.HasPlaced(target))
        journal.Refused(target, *sum);
    return false;
}

} // namespace Korvel::App
