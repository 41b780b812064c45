#pragma once

#include "ForwardingFileSystem.h"

namespace Korvel::App {

class Journal;

/**
 * Forwards to another file system, and writes down each file before it is moved, once its bytes are
 * on the disk: a run that finds the journal knows by it which files this one has put in place.
 */
class JournalingFileSystem : public ForwardingFileSystem
{
public:
    JournalingFileSystem(std::shared_ptr<PDF::IFileSystem> inner, Journal& journal);

    /** Fails also when the journal cannot be written. */
    bool Move(const ioPath& from, const ioPath& to) override;

private:
    Journal& journal;
};

} // namespace Korvel::App
