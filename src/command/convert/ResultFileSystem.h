#pragma once

#include "ForwardingFileSystem.h"
#include "LocalFileSystem.h"
#include "OnExists.h"

#include <memory>

namespace Korvel::App {

class Journal;

/**
 * Forwards to another file system, and writes every result down in the journal before it is moved.
 * Used on the main thread.
 */
class ResultFileSystem : public PDF::Converter::ForwardingFileSystem
{
public:
    /** @param journal  its run's; it lives longer than this */
    ResultFileSystem(std::shared_ptr<PDF::LocalFileSystem> files, OnExists onExists,
                     Journal& journal);

    /**
     * Moves a result whose bytes are on the disk and in the journal. A move onto a file fails, as
     * everywhere, or replaces the file: then in one step, and whoever reads it sees the old content
     * or the new. Where the journal has lost lines, what is there byte by byte is in place already.
     * Fails also when the journal cannot be written. errno says why, and 0 that it is that.
     */
    bool Move(const ioPath& from, const ioPath& to) override;

private:
    bool PutInPlace(const ioPath& from, const ioPath& to);
    bool Replaces(const ioPath& path) const;

    const std::shared_ptr<PDF::LocalFileSystem> files;
    const OnExists onExists;
    Journal& journal;
};

} // namespace Korvel::App
