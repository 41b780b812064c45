#pragma once

#include "FileState.h"

#include <cstddef>
#include <string>
#include <string_view>

#include <sys/stat.h>

namespace Korvel::Worker {

/** The bytes of a file, mapped into memory for reading. */
class MappedFile
{
public:
    /**
     * @throws RequestError  "unreadable": missing, no regular file, not allowed to be read; "empty"
     */
    explicit MappedFile(const std::string& path);
    ~MappedFile();

    std::string_view Bytes() const { return {data, size}; }

    FileState State() const { return FileState(status); }

private:
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    struct stat status = {};
    const char* data = nullptr;
    std::size_t size = 0;
};

} // namespace Korvel::Worker
