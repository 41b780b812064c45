#include "ResultFileSystem.h"

#include "Journal.h"

#include <cerrno>
#include <utility>

namespace Korvel::App {

ResultFileSystem::ResultFileSystem(std::shared_ptr<PDF::LocalFileSystem> files, OnExists onExists,
                                   Journal& journal)
    : ForwardingFileSystem(files), files(std::move(files)), onExists(onExists), journal(journal)
{
}

bool ResultFileSystem::Move(const ioPath& from, const ioPath& to)
{
    const QString target = QString::fromStdString(to.utf8string());
    if (!journal.Placing(QString::fromStdString(from.utf8string()), target)) {
        errno = 0;
        return false;
    }
    if (PutInPlace(from, to))
        return true;
    const int problem = errno;
    journal.Refused(target);
    errno = problem;
    return false;
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
