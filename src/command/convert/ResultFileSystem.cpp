#include "ResultFileSystem.h"

#include "Journal.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace Korvel::App {

ResultFileSystem::ResultFileSystem(std::shared_ptr<PDF::LocalFileSystem> files, OnExists onExists,
                                   Journal& journal)
    : ForwardingFileSystem(files), files(std::move(files)), onExists(onExists), journal(journal)
{
}

bool ResultFileSystem::Exists(const ioPath&)
{
    return false;
}

bool ResultFileSystem::Move(const ioPath& from, const ioPath& to)
{
    const QString target = QString::fromStdString(to.utf8string());
    if (!journal.Placing(QString::fromStdString(from.utf8string()), target))
        return false;
    if (PutInPlace(from, to))
        return true;
    const std::string why = std::strerror(errno);
    journal.Refused(target);
    refused[to.utf8string()] = {from, why};
    return false;
}

bool ResultFileSystem::MoveElsewhere(const ioPath& planned, const ioPath& to)
{
    const auto result = refused.extract(planned.utf8string());
    return result && Move(result.mapped().from, to);
}

std::string ResultFileSystem::WhyRefused(const ioPath& to) const
{
    const auto found = refused.find(to.utf8string());
    return found == refused.end() ? std::string() : found->second.why;
}

bool ResultFileSystem::Replaces(const ioPath& path) const
{
    return onExists == OnExists::Overwrite ||
           journal.HasPlaced(QString::fromStdString(path.utf8string()));
}

bool ResultFileSystem::PutInPlace(const ioPath& from, const ioPath& to)
{
    const auto isToBeReplaced = [this, &to] {
        return Replaces(to);
    };
    return files->Move(from, to) ||
           (isToBeReplaced() && files->Replace(from, to, isToBeReplaced)) ||
           journal.CanHavePlaced(QString::fromStdString(to.utf8string()));
}

} // namespace Korvel::App
