#include "PixelsWriter.h"

#include "RequestError.h"
#include "WriteAll.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <vector>

namespace Korvel::Worker {

namespace {

constexpr std::size_t bytesABlock = 256 << 10;

std::size_t BytesOfRow(const PictureShape& shape)
{
    return std::size_t(WorkerProtocol::BytesOfRow(shape.width, shape.IsGray()));
}

void CopyRow(const unsigned char* pixels, const PictureShape& shape, unsigned char* into)
{
    if (shape.IsGray()) {
        std::copy_n(pixels, shape.width, into);
        return;
    }
    // What says nothing in a row that was drawn is to say that the pixel is opaque.
    const unsigned opaque = shape.IsTransparent() ? 0 : 0xff;
    constexpr std::size_t bytesAPixel = 4;
    for (std::size_t i = 0; i < std::size_t(shape.width) * bytesAPixel; i += bytesAPixel) {
        into[i] = pixels[i];
        into[i + 1] = pixels[i + 1];
        into[i + 2] = pixels[i + 2];
        into[i + 3] = static_cast<unsigned char>(pixels[i + 3] | opaque);
    }
}

} // namespace

std::uint64_t BytesOfPixels(const PictureShape& shape)
{
    return std::uint64_t(BytesOfRow(shape)) * std::uint64_t(shape.height);
}

void WritePixels(int file, const PictureShape& shape, const DrawRows& draw)
{
    const std::size_t length = BytesOfRow(shape);
    const int most = int(std::max<std::size_t>(1, bytesABlock / length));
    std::vector<unsigned char> block(length * std::size_t(most));
    ForEachPiece(shape, draw, [&](int, const Rows& rows) {
        for (int first = 0; first < rows.count; first += most) {
            const int count = std::min(most, rows.count - first);
            for (int row = 0; row < count; ++row)
                CopyRow(rows.first + (first + row) * rows.stride, shape,
                        block.data() + std::size_t(row) * length);
            if (!WriteAll(file, block.data(), std::size_t(count) * length))
                throw RequestError(Reason::CannotWrite, std::strerror(errno));
        }
    });
}

} // namespace Korvel::Worker
