#pragma once

#include "Output.h"

#include <algorithm>
#include <string>

namespace Korvel::Worker {

/** A result that stays in memory. */
class MemoryOutput : public Output
{
public:
    void Write(const char* data, std::size_t size) override
    {
        bytes.resize(std::max(bytes.size(), end + size));
        std::copy_n(data, size, bytes.begin() + std::ptrdiff_t(end));
        end += size;
    }

    void WriteAt(std::uint64_t place, const char* data, std::size_t size) override
    {
        if (place == end)
            return Write(data, size);
        bytes.resize(std::max(bytes.size(), std::size_t(place) + size));
        std::copy_n(data, size, bytes.begin() + std::ptrdiff_t(place));
    }

    std::uint64_t Size() const override { return end; }

    void Clear() override
    {
        bytes.clear();
        end = 0;
    }

    const std::string& Bytes() const { return bytes; }

private:
    std::string bytes;
    std::size_t end = 0;
};

} // namespace Korvel::Worker
