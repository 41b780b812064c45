#include "WebpWriter.h"

#include "RequestError.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string>

#include <webp/encode.h>
#include <webp/mux.h>

namespace Korvel::Worker {

namespace {

constexpr int rowsABand = 64; // an even number, as two rows share their colors
constexpr std::uint32_t opaque = 0xff000000;

[[noreturn]] void Fail(WebPEncodingError error)
{
    if (error == VP8_ENC_ERROR_OUT_OF_MEMORY || error == VP8_ENC_ERROR_BITSTREAM_OUT_OF_MEMORY)
        throw std::bad_alloc();
    throw RequestError(Reason::CannotRender,
                       "libwebp does not write the picture: error " + std::to_string(error));
}

/** The pixels of libwebp. */
class WebpPixels
{
public:
    WebpPixels(int width, int height, bool isLossless, bool isTransparent)
    {
        if (!::WebPPictureInit(&picture))
            Fail(VP8_ENC_ERROR_INVALID_CONFIGURATION);
        picture.use_argb = isLossless ? 1 : 0;
        picture.colorspace = isTransparent ? WEBP_YUV420A : WEBP_YUV420;
        picture.width = width;
        picture.height = height;
        if (!::WebPPictureAlloc(&picture))
            Fail(VP8_ENC_ERROR_OUT_OF_MEMORY);
    }
    ~WebpPixels() { ::WebPPictureFree(&picture); }

    WebPPicture* operator->() { return &picture; }
    WebPPicture* Get() { return &picture; }

    void CopyRow(const unsigned char* pixels, PixelFormat format, int row)
    {
        std::uint32_t* const into = picture.argb + std::ptrdiff_t(row) * picture.argb_stride;
        if (format == PixelFormat::Gray) {
            constexpr std::uint32_t asColor = 0x010101;
            std::transform(pixels, pixels + picture.width, into,
                           [](unsigned char gray) { return opaque | gray * asColor; });
            return;
        }
        const std::uint32_t always = format == PixelFormat::Bgra ? 0 : opaque;
        for (int column = 0; column < picture.width; ++column, pixels += 4)
            into[column] = always | std::uint32_t(pixels[3]) << 24 |
                           std::uint32_t(pixels[2]) << 16 | std::uint32_t(pixels[1]) << 8 |
                           pixels[0];
    }

    /** Makes luma and chroma of the first rows of a band, and puts them here. */
    void TakeBand(WebpPixels& band, int first, int count)
    {
        if (!::WebPPictureARGBToYUVA(band.Get(), WEBP_YUV420))
            Fail(band->error_code);
        const int halfWidth = (picture.width + 1) / 2;
        const int halfCount = (count + 1) / 2;
        const std::ptrdiff_t chroma = std::ptrdiff_t(first / 2) * picture.uv_stride;
        Copy(band->y, band->y_stride, picture.y + std::ptrdiff_t(first) * picture.y_stride,
             picture.y_stride, picture.width, count);
        Copy(band->u, band->uv_stride, picture.u + chroma, picture.uv_stride, halfWidth, halfCount);
        Copy(band->v, band->uv_stride, picture.v + chroma, picture.uv_stride, halfWidth, halfCount);
        if (picture.a)
            TakeOpacity(band, first, count);
    }

private:
    static void Copy(const std::uint8_t* from, int fromStride, std::uint8_t* into, int intoStride,
                     int width, int rows)
    {
        for (int row = 0; row < rows; ++row)
            std::copy_n(from + std::ptrdiff_t(row) * fromStride, width,
                        into + std::ptrdiff_t(row) * intoStride);
    }

    /** A band that is opaque has none of its own. */
    void TakeOpacity(WebpPixels& band, int first, int count)
    {
        std::uint8_t* const into = picture.a + std::ptrdiff_t(first) * picture.a_stride;
        if (band->a)
            Copy(band->a, band->a_stride, into, picture.a_stride, picture.width, count);
        else
            std::fill_n(into, std::ptrdiff_t(count) * picture.a_stride, std::uint8_t(0xff));
    }

    WebpPixels(const WebpPixels&) = delete;
    WebpPixels& operator=(const WebpPixels&) = delete;

    WebPPicture picture = {};
};

void DrawLossless(WebpPixels& pixels, const PictureShape& shape, const DrawRows& draw)
{
    ForEachPiece(shape, draw, [&](int first, const Rows& rows) {
        for (int row = 0; row < rows.count; ++row)
            pixels.CopyRow(rows.first + row * rows.stride, shape.pixels, first + row);
    });
}

/** In bands, since luma and chroma take less than half of the memory of colors. */
void DrawLossy(WebpPixels& pixels, const PictureShape& shape, const DrawRows& draw)
{
    std::optional<WebpPixels> band;
    ForEachPiece(shape, draw, [&](int first, const Rows& rows) {
        for (int row = 0; row < rows.count; ++row) {
            const int place = (first + row) % rowsABand;
            const int top = first + row - place;
            const int height = std::min(rowsABand, shape.height - top);
            if (place == 0)
                band.emplace(shape.width, height, true, false);
            band->CopyRow(rows.first + row * rows.stride, shape.pixels, place);
            if (place + 1 == height)
                pixels.TakeBand(*band, top, height);
        }
    });
}

/** A file in memory, which libwebp writes to. */
class Memory
{
public:
    Memory() { ::WebPMemoryWriterInit(&writer); }
    ~Memory() { ::WebPMemoryWriterClear(&writer); }

    void Use(WebPPicture& picture)
    {
        picture.writer = ::WebPMemoryWrite;
        picture.custom_ptr = &writer;
    }
    WebPData Bytes() const { return {writer.mem, writer.size}; }

private:
    Memory(const Memory&) = delete;
    Memory& operator=(const Memory&) = delete;

    WebPMemoryWriter writer = {};
};

/** Numbers with the highest byte first. */
template <typename Number>
void Append(std::string& bytes, Number number)
{
    for (int shift = 8 * (int(sizeof number) - 1); shift >= 0; shift -= 8)
        bytes += char(number >> shift);
}

/** Exif metadata that say nothing but the resolution, in tenths of a dot per inch. */
std::string ExifResolution(std::uint32_t tenths)
{
    enum Tag : std::uint16_t {
        XResolution = 0x011a,
        YResolution = 0x011b,
        ResolutionUnit = 0x0128
    };
    enum Type : std::uint16_t { Short = 3, Rational = 5 };
    constexpr std::uint16_t inch = 2;
    constexpr std::uint16_t entries = 3;
    constexpr std::uint32_t firstEntry = 8;
    constexpr std::uint32_t valuesAt = firstEntry + 2 + entries * 12 + 4;

    std::string exif("MM\0*", 4);
    const auto add = [&exif](auto... numbers) {
        (Append(exif, numbers), ...);
    };
    const std::uint32_t one = 1;
    add(firstEntry, entries);
    add(XResolution, Rational, one, valuesAt);
    add(YResolution, Rational, one, valuesAt);
    add(ResolutionUnit, Short, one, inch, std::uint16_t(0));
    add(std::uint32_t(0), tenths, std::uint32_t(10));
    return exif;
}

void WriteWithResolution(Output& into, const WebPData& plain, const PictureShape& shape)
{
    constexpr double tenthsOfInchAMetre = 0.254;
    const std::string exif =
        ExifResolution(std::uint32_t(std::lround(shape.DotsPerMetre() * tenthsOfInchAMetre)));
    const WebPData chunk = {reinterpret_cast<const uint8_t*>(exif.data()), exif.size()};
    const std::unique_ptr<WebPMux, void (*)(WebPMux*)> mux(::WebPMuxCreate(&plain, 0),
                                                           ::WebPMuxDelete);
    WebPData whole = {};
    if (!mux || ::WebPMuxSetChunk(mux.get(), "EXIF", &chunk, 0) != WEBP_MUX_OK ||
        ::WebPMuxAssemble(mux.get(), &whole) != WEBP_MUX_OK)
        throw RequestError(Reason::CannotRender, "the resolution cannot be put into the WebP");
    const std::unique_ptr<WebPData, void (*)(WebPData*)> owner(&whole, ::WebPDataClear);
    into.Write(reinterpret_cast<const char*>(whole.bytes), whole.size);
}

WebPConfig ConfigFor(int quality, bool isLossless)
{
    constexpr float effort = 70; // of a lossless picture, as libwebp has it by default
    WebPConfig config;
    if (!::WebPConfigInit(&config))
        Fail(VP8_ENC_ERROR_INVALID_CONFIGURATION);
    config.lossless = isLossless ? 1 : 0;
    config.quality = isLossless ? effort : float(quality);
    config.alpha_quality = int(config.quality);
    return config;
}

} // namespace

void WriteWebp(Output& into, const PictureShape& shape, int quality, const DrawRows& draw)
{
    shape.RequireSides("WebP", WEBP_MAX_DIMENSION);
    const bool isLossless = quality >= WorkerProtocol::highestQuality;
    WebpPixels pixels(shape.width, shape.height, isLossless, shape.IsTransparent());
    isLossless ? DrawLossless(pixels, shape, draw) : DrawLossy(pixels, shape, draw);
    const WebPConfig config = ConfigFor(quality, isLossless);
    Memory file;
    file.Use(*pixels.Get());
    if (!::WebPEncode(&config, pixels.Get()))
        Fail(pixels->error_code);
    WriteWithResolution(into, file.Bytes(), shape);
}

} // namespace Korvel::Worker
