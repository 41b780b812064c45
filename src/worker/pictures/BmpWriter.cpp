#include "BmpWriter.h"

#include "Pixels.h"
#include "RequestError.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

namespace Korvel::Worker {

namespace {

constexpr std::uint32_t bytesOfHeader = 14;
constexpr std::uint32_t bytesOfInfo = 40;
constexpr int grays = 256;
constexpr std::size_t bytesABlock = 256 << 10;

/** What stands before the pixels, lowest byte first. */
class Head
{
public:
    template <typename Number>
    void Add(Number number)
    {
        for (std::size_t byte = 0; byte < sizeof number; ++byte)
            bytes.push_back(char(number >> (8 * byte)));
    }

    void AddGrays()
    {
        constexpr std::uint32_t asColor = 0x010101;
        for (std::uint32_t gray = 0; gray < grays; ++gray)
            Add(gray * asColor);
    }

    void WriteTo(Output& file) const { file.Write(bytes.data(), bytes.size()); }

private:
    std::vector<char> bytes;
};

/** Each row fills words of four bytes. */
std::uint64_t BytesOfRow(const PictureShape& shape)
{
    return (std::uint64_t(shape.width) * (shape.IsGray() ? 1 : 3) + 3) / 4 * 4;
}

std::uint32_t BytesBeforePixels(const PictureShape& shape)
{
    return bytesOfHeader + bytesOfInfo + (shape.IsGray() ? grays * sizeof(std::uint32_t) : 0);
}

void WriteHead(Output& into, const PictureShape& shape)
{
    const auto bytesOfPixels = std::uint32_t(BytesOfRow(shape) * std::uint64_t(shape.height));
    const std::uint32_t before = BytesBeforePixels(shape);
    const auto dotsPerMetre = std::uint32_t(shape.DotsPerMetre());
    const std::uint32_t colors = shape.IsGray() ? grays : 0;
    Head head;
    head.Add(std::uint16_t('B' | 'M' << 8));
    head.Add(before + bytesOfPixels);
    head.Add(std::uint32_t(0));
    head.Add(before);
    head.Add(bytesOfInfo);
    head.Add(std::uint32_t(shape.width));
    head.Add(std::uint32_t(shape.height));
    head.Add(std::uint16_t(1)); // plane
    head.Add(std::uint16_t(shape.IsGray() ? 8 : 24));
    head.Add(std::uint32_t(0)); // not packed
    head.Add(bytesOfPixels);
    head.Add(dotsPerMetre);
    head.Add(dotsPerMetre);
    head.Add(colors);
    head.Add(colors); // of which none can be left out
    if (shape.IsGray())
        head.AddGrays();
    head.WriteTo(into);
}

void RequireSize(const PictureShape& shape)
{
    const std::uint64_t bytes =
        BytesBeforePixels(shape) + BytesOfRow(shape) * std::uint64_t(shape.height);
    if (bytes > std::numeric_limits<std::uint32_t>::max())
        throw RequestError(
            Reason::CannotRender,
            "a BMP has at most 4 GB, which the page would exceed; a lower resolution "
            "or another format serves");
}

/** Writes rows of one piece in blocks, the lowest first. */
class BmpRows
{
public:
    BmpRows(Output& into, const PictureShape& shape)
        : into(into),
          shape(shape),
          length(std::size_t(BytesOfRow(shape))),
          rowsABlock(int(std::max<std::size_t>(1, bytesABlock / length)))
    {
    }

    void Write(int first, const Rows& rows)
    {
        for (int end = rows.count; end > 0; end -= rowsABlock) {
            const int count = std::min(end, rowsABlock);
            block.assign(length * std::size_t(count), 0);
            for (int row = 0; row < count; ++row)
                Copy(rows.first + (end - 1 - row) * rows.stride,
                     block.data() + std::size_t(row) * length);
            WriteBlockAbove(first + end);
        }
    }

private:
    void Copy(const unsigned char* pixels, unsigned char* line) const
    {
        if (shape.IsGray())
            std::copy_n(pixels, shape.width, line);
        else
            CopyBgr(pixels, std::size_t(shape.width), line);
    }

    void WriteBlockAbove(int row)
    {
        const std::uint64_t below = std::uint64_t(shape.height - row) * length;
        into.WriteAt(BytesBeforePixels(shape) + below, reinterpret_cast<const char*>(block.data()),
                     block.size());
    }

    Output& into;
    const PictureShape& shape;
    const std::size_t length;
    const int rowsABlock;
    std::vector<unsigned char> block;
};

} // namespace

void WriteBmp(Output& into, const PictureShape& shape, const DrawRows& draw)
{
    RequireSize(shape);
    WriteHead(into, shape);
    BmpRows file(into, shape);
    ForEachPiece(shape, draw, [&file](int first, const Rows& rows) { file.Write(first, rows); });
}

} // namespace Korvel::Worker
