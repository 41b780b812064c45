#pragma once

#include "FileDescriptor.h"
#include "Output.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include <sys/types.h>
#include <unistd.h>

namespace Korvel::Worker {

/**
 * A file that did not exist before, removed again unless it is kept.
 *
 * Never replaces and never follows a link. What is written is gathered first: a file of up to 4 MiB
 * is made and written in one go when it is kept.
 */
class NewFile : public Output
{
public:
    /**
     * @param mode     permission bits, less those of the umask
     * @param largest  how many bytes it may have; what would go beyond fails with "too-large"
     */
    NewFile(const std::string& path, mode_t mode, std::uint64_t largest);
    ~NewFile() override;

    void Write(const char* data, std::size_t size) override;
    void WriteAt(std::uint64_t place, const char* data, std::size_t size) override;
    std::uint64_t Size() const override { return flushed + gathered; }
    void Clear() override;

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
    void RequireRoomFor(std::uint64_t end);
    void Make();
    void Remove();
    void Flush();
    void Put(const char* data, std::size_t size);
    void MoveTo(std::uint64_t place);
    [[noreturn]] void Fail();

    const std::string path;
    const mode_t mode;
    const std::uint64_t largest;
    /** Where the furthest byte ends that was to be written. */
    std::uint64_t largestEnd = 0;
    /** Null as long as nothing has been put there. */
    std::unique_ptr<PDF::FileDescriptor> file;
    const std::unique_ptr<char[]> buffer;
    std::size_t gathered = 0;
    std::uint64_t flushed = 0;
    bool hasFailed = false;
    inline static const char* unfinished = nullptr;
};

} // namespace Korvel::Worker
