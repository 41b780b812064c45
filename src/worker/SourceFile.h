#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include <sys/stat.h>

namespace Korvel::Worker {

/** The bytes of a file, mapped into memory for reading. */
class SourceFile
{
public:
    /**
     * @throws Failure  "unreadable": missing, no regular file, not allowed to be read; "empty"
     */
    explicit SourceFile(const std::string& path);
    ~SourceFile();

    const char* Data() const { return data; }
    std::size_t Size() const { return size; }

    /** Whether `path` still names the file that was mapped, unchanged since. */
    bool IsCurrent(const std::string& path) const;

private:
    SourceFile(const SourceFile&) = delete;
    SourceFile& operator=(const SourceFile&) = delete;

    struct stat status = {};
    const char* data = nullptr;
    std::size_t size = 0;
};

} // namespace Korvel::Worker
