#pragma once

#include "IFileSystem.h"

#include <memory>

namespace Korvel::App {

class Journal;

/**
 * Forwards to another file system, and writes down each file before it is moved, once its bytes are
 * on the disk: a run that finds the journal knows by it which files this one has put in place.
 */
class JournalingFileSystem : public PDF::IFileSystem
{
public:
    JournalingFileSystem(std::shared_ptr<PDF::IFileSystem> inner, Journal& journal);

    ioPath GetTempFolder() override;
    bool RemoveFolder(const ioPath& folder) override;
    bool Exists(const ioPath& path) override;
    /** Fails also when the journal cannot be written. */
    bool Move(const ioPath& from, const ioPath& to) override;
    bool CreateFolder(const ioPath& folder) override;

private:
    const std::shared_ptr<PDF::IFileSystem> inner;
    Journal& journal;
};

} // namespace Korvel::App
