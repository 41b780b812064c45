#pragma once

#include "ForwardingFileSystem.h"
#include "LocalFileSystem.h"
#include "OnExists.h"

#include <map>
#include <string>

namespace Korvel::App {

class Journal;

/**
 * Puts every result exactly where the plan wants it, and writes it down in the journal before.
 *
 * It forwards to another file system, and says that nothing exists, so that TempFileWrapper, which
 * asks before it moves, takes no numbered name: a name is no regular expression, by which it would
 * look for one. Used on the main thread.
 */
class ResultFileSystem : public ForwardingFileSystem
{
public:
    /** @param journal  its run's; it lives longer than this */
    ResultFileSystem(std::shared_ptr<PDF::LocalFileSystem> files, OnExists onExists,
                     Journal& journal);

    bool Exists(const ioPath& path) override;

    /**
     * Moves a result whose bytes are on the disk and in the journal. A move onto a file fails, as
     * everywhere, or replaces the file: then in one step, and whoever reads it sees the old content
     * or the new. Where the journal has lost lines, what is there byte by byte is in place already.
     * Fails also when the journal cannot be written.
     */
    bool Move(const ioPath& from, const ioPath& to) override;

    /**
     * Moves a result to another place, as Move does, once Move has failed to put it where it was
     * planned; it still lies where it was made as long as the chain lives that has made it.
     *
     * @return false as well when Move has failed for no result that was planned for `planned`
     */
    bool MoveElsewhere(const ioPath& planned, const ioPath& to);

    /** Why Move has failed to put a result at `to`; empty when it has not. */
    std::string WhyRefused(const ioPath& to) const;

private:
    struct Refused
    {
        ioPath from;
        std::string why;
    };

    bool PutInPlace(const ioPath& from, const ioPath& to);
    bool Replaces(const ioPath& path) const;

    const std::shared_ptr<PDF::LocalFileSystem> files;
    const OnExists onExists;
    Journal& journal;
    /** What could not be moved, by where it was to go. */
    std::map<std::string, Refused> refused;
};

} // namespace Korvel::App
