#pragma once

#include <cstddef>
#include <cstdint>

namespace Korvel::Worker {

/** What a result is written to. */
class Output
{
public:
    Output() = default;
    virtual ~Output() = default;

    /**
     * Writes at the end.
     *
     * @throws RequestError  "cannot-write"
     */
    virtual void Write(const char* data, std::size_t size) = 0;

    /**
     * Writes at a place before the end, or at it; beyond it leaves a gap, which Write does not know
     * of.
     *
     * @throws RequestError  "cannot-write"
     */
    virtual void WriteAt(std::uint64_t place, const char* data, std::size_t size) = 0;

    /** The end, where Write goes on. */
    virtual std::uint64_t Size() const = 0;

    /**
     * Begins anew, with nothing written.
     *
     * @throws RequestError  "cannot-write"
     */
    virtual void Clear() = 0;

private:
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
};

} // namespace Korvel::Worker
