#include "PlannedFileSystem.h"

#include <cstdio>
#include <utility>

#include <QUuid>

namespace Korvel::App {

namespace {

bool Rename(const std::string& from, const std::string& to)
{
    return std::rename(from.c_str(), to.c_str()) == 0;
}

} // namespace

PlannedFileSystem::PlannedFileSystem(std::shared_ptr<PDF::IFileSystem> inner, Replaces replaces)
    : ForwardingFileSystem(std::move(inner)), replaces(std::move(replaces))
{
}

bool PlannedFileSystem::Exists(const ioPath&)
{
    return false;
}

bool PlannedFileSystem::Move(const ioPath& from, const ioPath& to)
{
    if (inner->Move(from, to))
        return true;
    if (!replaces(to))
        return false;
    if (Rename(from.utf8string(), to.utf8string()))
        return true;
    // From another volume, the bytes have to come to this one before one step can name them.
    const ioPath hidden(HiddenBeside(to.utf8string()));
    if (!inner->Move(from, hidden))
        return false;
    // Others may have put theirs there while the bytes came.
    if (replaces(to) && Rename(hidden.utf8string(), to.utf8string()))
        return true;
    if (!inner->Move(hidden, from))
        ioPath::remove(hidden);
    return false;
}

/** The path of a new name in the folder of `path`, marked with that of the session folder. */
std::string PlannedFileSystem::HiddenBeside(const std::string& path) const
{
    const std::string session = inner->GetTempFolder().utf8string();
    const std::string name = QUuid::createUuid().toString(QUuid::WithoutBraces).toStdString();
    return path.substr(0, path.rfind('/') + 1) + '.' + session.substr(session.rfind('/') + 1) +
           '-' + name;
}

} // namespace Korvel::App
