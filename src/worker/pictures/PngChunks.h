#pragma once

#include "Output.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace Korvel::Worker {

/** A PNG, written chunk by chunk. */
class PngChunks
{
public:
    /** @throws RequestError  "cannot-write" */
    explicit PngChunks(Output& into);

    /**
     * @param type  four letters
     * @throws RequestError  "cannot-write"
     */
    void Add(const char* type, const char* data, std::size_t size);
    void Add(const char* type, const std::string& data);

    /** As PNGs have numbers, the highest byte first. */
    static void AppendNumber(std::string& bytes, std::uint32_t number);

private:
    Output& into;
};

} // namespace Korvel::Worker
