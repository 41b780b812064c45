#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include <sys/stat.h>

namespace Korvel::Worker {

/** Which file it was that a path named, and its state then. */
class FileState
{
public:
    explicit FileState(const struct stat& status) : status(status) {}

    /** Whether `path` still names that file, and it is unchanged. */
    bool IsStillThatOf(const std::string& path) const;

private:
    struct stat status;
};

/** The bytes of a file, mapped into memory for reading. */
class SourceFile
{
public:
    /**
     * @throws Failure  "unreadable": missing, no regular file, not allowed to be read; "empty"
     */
    explicit SourceFile(const std::string& path);
    ~SourceFile();

    std::string_view Bytes() const { return {data, size}; }

    FileState State() const { return FileState(status); }

private:
    SourceFile(const SourceFile&) = delete;
    SourceFile& operator=(const SourceFile&) = delete;

    struct stat status = {};
    const char* data = nullptr;
    std::size_t size = 0;
};

} // namespace Korvel::Worker
