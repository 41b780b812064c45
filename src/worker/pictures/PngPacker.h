#pragma once

#include "Compression.h"
#include "PngChunks.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace Korvel::Worker {

/** Packs the rows of a PNG, behind their filters, into its chunks. */
class PngPacker
{
public:
    virtual ~PngPacker() = default;

    /**
     * @param rows  of at most 4 GB
     * @throws RequestError  "cannot-write"
     * @throws std::bad_alloc
     */
    virtual void Add(const std::vector<unsigned char>& rows, bool isLast) = 0;
};

/** @param size  of all rows together, in bytes */
std::unique_ptr<PngPacker> MakePngPacker(PngChunks& into, Compression compression,
                                         std::uint64_t size);

} // namespace Korvel::Worker
