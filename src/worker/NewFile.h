#pragma once

#include <cstdio>
#include <string>

#include <sys/types.h>

namespace Korvel::Worker {

/**
 * A file that did not exist before, removed again unless it is kept.
 *
 * Never replaces and never follows a link.
 */
class NewFile
{
public:
    /**
     * @param mode  permission bits, less those of the umask
     * @throws RequestError  "cannot-write"
     */
    NewFile(const std::string& path, mode_t mode);
    ~NewFile();

    /** @throws RequestError  "cannot-write" */
    void Write(const char* data, std::size_t size);

    /**
     * Closes the file for good.
     *
     * @throws RequestError  "cannot-write": something was not written, or nothing was
     */
    void Keep();

private:
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    const std::string path;
    std::FILE* stream = nullptr;
    bool kept = false;
};

} // namespace Korvel::Worker
