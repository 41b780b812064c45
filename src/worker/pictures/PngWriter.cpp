#include "PngWriter.h"

#include "Pixels.h"
#include "PngChunks.h"
#include "PngPacker.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace Korvel::Worker {

namespace {

constexpr unsigned char noFilter =
    0; // filters make text, lines and scans of them larger and slower
constexpr std::size_t bytesABlock = 1 << 17;
constexpr int longestSide = std::numeric_limits<int>::max() / 3 - 1; // a row has 2 GB at most

std::string Header(const PictureShape& shape, bool isGray)
{
    std::string header;
    PngChunks::AppendNumber(header, std::uint32_t(shape.width));
    PngChunks::AppendNumber(header, std::uint32_t(shape.height));
    header += char(8);              // bits a sample
    header += char(isGray ? 0 : 2); // or red, green and blue
    header.append(3, '\0');         // the only compression, the only set of filters, no interlacing
    return header;
}

std::string Resolution(const PictureShape& shape)
{
    std::string resolution;
    for (int direction = 0; direction < 2; ++direction)
        PngChunks::AppendNumber(resolution, std::uint32_t(shape.DotsPerMetre()));
    resolution += char(1); // dots per metre
    return resolution;
}

/** A PNG that is gray, or not, from its first row to its last. */
class PngFile
{
public:
    PngFile(Output& into, const PictureShape& shape, Compression compression, bool isGray)
        : shape(shape),
          isGray(isGray),
          chunks(into),
          bytesOfRow(1 + std::size_t(shape.width) * (isGray ? 1 : 3)),
          packer(MakePngPacker(chunks, compression,
                               std::uint64_t(bytesOfRow) * std::uint64_t(shape.height)))
    {
        chunks.Add("IHDR", Header(shape, isGray));
        chunks.Add("pHYs", Resolution(shape));
        StartBlock();
    }

    /** Answers false where a pixel is not gray, and the file has no more use. */
    bool Add(const Rows& rows)
    {
        for (int row = 0; row < rows.count; ++row) {
            if (!Copy(rows.first + row * rows.stride))
                return false;
            if (place == block.size())
                PackBlock();
        }
        return true;
    }

    void Finish() { chunks.Add("IEND", std::string()); }

private:
    void StartBlock()
    {
        const std::size_t rows =
            std::min(std::max<std::size_t>(1, bytesABlock / bytesOfRow), std::size_t(rowsToCome));
        block.resize(rows * bytesOfRow);
        rowsToCome -= int(rows);
        place = 0;
    }

    bool Copy(const unsigned char* pixels)
    {
        block[place] = noFilter;
        unsigned char* const into = block.data() + place + 1;
        place += bytesOfRow;
        const auto width = std::size_t(shape.width);
        if (shape.IsGray())
            std::copy_n(pixels, width, into);
        else if (isGray)
            return CopyGray(pixels, width, into);
        else
            CopyRgb(pixels, width, into);
        return true;
    }

    void PackBlock()
    {
        packer->Add(block, rowsToCome == 0);
        StartBlock();
    }

    const PictureShape& shape;
    const bool isGray;
    PngChunks chunks;
    const std::size_t bytesOfRow;
    const std::unique_ptr<PngPacker> packer;
    std::vector<unsigned char> block;
    std::size_t place = 0;
    /** Below the block. */
    int rowsToCome = shape.height;
};

} // namespace

void WritePng(Output& into, const PictureShape& shape, Compression compression,
              const DrawRows& draw)
{
    shape.RequireSides("PNG", longestSide);
    Rows rows = draw(0);
    for (bool isGray = shape.IsGray() || IsGray(rows, shape.width);; isGray = false) {
        PngFile file(into, shape, compression, isGray);
        int first = 0;
        while (file.Add(rows)) {
            first += rows.count;
            if (first == shape.height)
                return file.Finish();
            rows = draw(first);
        }
        into.Clear();
        rows = draw(0);
    }
}

} // namespace Korvel::Worker
