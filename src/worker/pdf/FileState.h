#pragma once

#include <string>

#include <sys/stat.h>

namespace Korvel::Worker {

/** Which file it was that a path named, and its state then. */
class FileState
{
public:
    explicit FileState(const struct stat& status) : status(status) {}

    /** The state of what is at `path` now. */
    static FileState Of(const std::string& path);

    /** Whether both are of one file, whatever has become of it. */
    bool IsOfFileOf(const FileState& other) const;

    /** Whether both are of one file that is unchanged, whatever its name. */
    bool IsOfSameContentAs(const FileState& other) const;

    /**
     * Whether `path` still names that file, and it is unchanged. A file that has only lost its name
     * counts as unchanged.
     */
    bool IsStillThatOf(const std::string& path) const;

    /** @throws RequestError  "changed": it is another file, or not what it was */
    void Require(const std::string& path) const;

private:
    struct stat status = {};
};

/** Ends the process with an exit code that says that the file was changed. */
[[noreturn]] void EndAsChanged();

/**
 * Ends the process like that when it meets the end of a file and one was shortened since it was
 * mapped into memory.
 */
void EndWhereSourceIsShortened();

/** Names the file that is mapped into memory, and how long it was then. */
void ExpectShortening(const std::string& path, off_t size);

} // namespace Korvel::Worker
