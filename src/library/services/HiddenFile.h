#pragma once

#include "FileDescriptor.h"

#include <string>
#include <vector>

namespace Korvel::PDF {

/**
 * A new file beside a target, under a hidden name, removed again unless it is kept.
 *
 * It is called like the session that makes it, with a dot before and a random end, and locked
 * (flock) as long as the object lives: one that is not locked was left by a process that was
 * killed.
 */
class HiddenFile
{
public:
    /** Its descriptor is none, and errno says why, when it cannot be made. */
    HiddenFile(const std::string& folder, const std::string& session);
    ~HiddenFile();

    const FileDescriptor& Descriptor() const { return file; }

    const std::string& Path() const { return path; }

    /** Leaves it to whoever has given it another name. */
    void Keep() { path.clear(); }

private:
    HiddenFile(const HiddenFile&) = delete;
    HiddenFile& operator=(const HiddenFile&) = delete;

    std::string path;
    const FileDescriptor file;
};

/**
 * Removes the hidden files of this user in a folder that nobody has locked. Where locks may not
 * reach all machines, such as on network folders, only those that are an hour old.
 *
 * @return their paths
 */
std::vector<std::string> SweepHiddenFiles(const std::string& folder);

} // namespace Korvel::PDF
