#pragma once

#include <string>

#include <sys/stat.h>

namespace Korvel {

/** Which file a path names, and what tells its content from an earlier one; of none, all zeros. */
class SourceState
{
public:
    SourceState() = default;

    explicit SourceState(const std::string& path)
    {
        if (::stat(path.c_str(), &status) != 0)
            status = {};
    }

    bool operator==(const SourceState& other) const
    {
        // Not the time of the last change of rights or links: backups make links, and no byte else.
        return status.st_dev == other.status.st_dev && status.st_ino == other.status.st_ino &&
               status.st_size == other.status.st_size &&
               status.st_mtim.tv_sec == other.status.st_mtim.tv_sec &&
               status.st_mtim.tv_nsec == other.status.st_mtim.tv_nsec;
    }

private:
    struct stat status = {};
};

} // namespace Korvel
