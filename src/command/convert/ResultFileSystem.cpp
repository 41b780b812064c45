#include "ResultFileSystem.h"

#include "Journal.h"

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

ResultFileSystem::ResultFileSystem(std::shared_ptr<PDF::IFileSystem> inner, OnExists onExists,
                                   Journal& journal)
    : ForwardingFileSystem(std::move(inner)), onExists(onExists), journal(journal)
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
    journal.Refused(target);
    refused[to.utf8string()] = from;
    return false;
}

bool ResultFileSystem::MoveElsewhere(const ioPath& planned, const ioPath& to)
{
    const auto result = refused.extract(planned.utf8string());
    return result && Move(result.mapped(), to);
}

bool ResultFileSystem::Replaces(const ioPath& path) const
{
    return onExists == OnExists::Overwrite ||
           journal.HasPlaced(QString::fromStdString(path.utf8string()));
}

bool ResultFileSystem::PutInPlace(const ioPath& from, const ioPath& to)
{
    if (inner->Move(from, to))
        return true;
    if (!Replaces(to))
        return false;
    if (Rename(from.utf8string(), to.utf8string()))
        return true;
    // The bytes have to come from another volume to this one before one step can name them.
    const ioPath hidden(HiddenBeside(to.utf8string()));
    if (!inner->Move(from, hidden))
        return false;
    // Others may have put theirs there while the bytes came.
    if (Replaces(to) && Rename(hidden.utf8string(), to.utf8string()))
        return true;
    if (!inner->Move(hidden, from))
        ioPath::remove(hidden);
    return false;
}

/** The path of a new name in the folder of `path`, marked with that of the session folder. */
std::string ResultFileSystem::HiddenBeside(const std::string& path) const
{
    const std::string session = inner->GetTempFolder().utf8string();
    const std::string name = QUuid::createUuid().toString(QUuid::WithoutBraces).toStdString();
    return path.substr(0, path.rfind('/') + 1) + '.' + session.substr(session.rfind('/') + 1) +
           '-' + name;
}

} // namespace Korvel::App
