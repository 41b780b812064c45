#pragma once

#include "DrawRows.h"
#include "Output.h"
#include "PictureShape.h"

#include <cstdint>
#include <memory>

namespace Korvel::Worker {

/**
 * Writes a TIFF of any number of pictures, one after another: black and white ones packed as faxes
 * are (CCITT group 4), others by LZW, of one sample a pixel where the rows are gray, four where
 * they are transparent, else three, with their resolution. Of its pictures no more than a strip is
 * in memory.
 *
 *     TiffWriter tiff(file, false);
 *     tiff.Add(shape, draw);
 */
class TiffWriter
{
public:
    /**
     * @param into   outlives the writer
     * @param isBig  whether to write a BigTIFF, as one of more than 4 GB has to be
     * @throws RequestError  "cannot-write"
     */
    TiffWriter(Output& into, bool isBig);
    ~TiffWriter();

    /**
     * Writes a picture. What `draw` throws is passed on; where its first rows do, the TIFF is as it
     * would be without this picture.
     *
     * @throws RequestError  "cannot-write"
     */
    void Add(const PictureShape& shape, const DrawRows& draw);

    /** Whether no picture was begun and not ended, after which there is no use for the file. */
    bool IsWhole() const { return isWhole; }

    /** How many bytes a picture can take at most: what cannot be packed becomes larger. */
    static std::uint64_t MostBytes(const PictureShape& shape);

    /** Whether a file of so many bytes has to be a BigTIFF. */
    static bool WantsBig(std::uint64_t bytes);

private:
    TiffWriter(const TiffWriter&) = delete;
    TiffWriter& operator=(const TiffWriter&) = delete;

    struct Impl;
    const std::unique_ptr<Impl> impl;
    bool isWhole = true;
};

/**
 * Writes a TIFF of one picture, a BigTIFF where it could come to more than 4 GB.
 *
 * @throws RequestError  "cannot-write"
 */
void WriteTiff(Output& into, const PictureShape& shape, const DrawRows& draw);

} // namespace Korvel::Worker
