#pragma once

#include "Output.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace Korvel::Worker {

/**
 * A result that is put into a file. What is written is gathered first: up to 4 MiB are put there in
 * one go at the end.
 */
class FileOutput : public Output
{
public:
    void Write(const char* data, std::size_t size) override;
    void WriteAt(std::uint64_t place, const char* data, std::size_t size) override;
    std::uint64_t Size() const override { return flushed + gathered; }
    void Clear() override;

    /**
     * Puts all of it into the file.
     *
     * @return where its last byte ends
     * @throws RequestError  "cannot-write": something was not written, or nothing was; "too-large"
     */
    std::uint64_t Complete();

protected:
    /** @param largest  how many bytes it may have; what would go beyond fails with "too-large" */
    explicit FileOutput(std::uint64_t largest);

    /**
     * Open, with its offset where the last Put has ended.
     *
     * @throws RequestError  "cannot-write"
     */
    virtual int File() = 0;

    /** Has the file be written from its beginning. */
    virtual void BeginAnew() = 0;

    void MoveTo(std::uint64_t place);
    [[noreturn]] void Fail();

private:
    void RequireRoomFor(std::uint64_t end);
    void Flush();
    void Put(const char* data, std::size_t size);

    const std::uint64_t largest;
    /** Where the furthest byte ends that was to be written. */
    std::uint64_t largestEnd = 0;
    const std::unique_ptr<char[]> buffer;
    std::size_t gathered = 0;
    std::uint64_t flushed = 0;
    bool hasFailed = false;
};

} // namespace Korvel::Worker
