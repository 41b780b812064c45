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
    const auto sum = Checksum::Of(from.utf8string());
    return sum && Journal::FlushToDisk(QString::fromStdString(from.utf8string())) &&
           journal.Placing(QString::fromStdString(to.utf8string()), *sum) && inner->Move(from, to);
}

} // namespace Korvel::App
