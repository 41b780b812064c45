#pragma once

#include "FileDescriptor.h"
#include "FileOutput.h"

#include <cstdint>
#include <memory>
#include <string>

#include <sys/types.h>
#include <unistd.h>

namespace Korvel::Worker {

/**
 * A file that did not exist before, removed again unless it is kept.
 *
 * Never replaces and never follows a link. It is made when something is first put there.
 */
class NewFile : public FileOutput
{
public:
    /**
     * @param mode     permission bits, less those of the umask
     * @param largest  how many bytes it may have; what would go beyond fails with "too-large"
     */
    NewFile(const std::string& path, mode_t mode, std::uint64_t largest);
    ~NewFile() override;

    /**
     * Closes the file for good.
     *
     * @throws RequestError  "cannot-write": something was not written, or nothing was; "too-large"
     */
    void Keep();

    /** Removes what is not kept of the file written last, where a process ends on the spot. */
    static void RemoveUnfinished()
    {
        if (unfinished)
            ::unlink(unfinished);
    }

private:
    int File() override;
    void BeginAnew() override;
    void Make();
    void Remove();

    const std::string path;
    const mode_t mode;
    /** Null as long as nothing has been put there. */
    std::unique_ptr<PDF::FileDescriptor> file;
    inline static const char* unfinished = nullptr;
};

} // namespace Korvel::Worker
