#include "TiffWriter.h"

#include "Pixels.h"
#include "RequestError.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include <tiffio.h>

namespace Korvel::Worker {

namespace {

constexpr std::size_t bytesAStrip = 4 << 20;
// What LZW cannot pack it makes larger, by less than half.
constexpr std::uint64_t mostOfClassic = (std::uint64_t(1) << 32) / 3 * 2;

int BytesAPixel(const PictureShape& shape)
{
    return shape.IsGray() ? 1 : 3;
}

bool CouldExceedClassic(const PictureShape& shape)
{
    return std::uint64_t(shape.width) * std::uint64_t(shape.height) *
               std::uint64_t(BytesAPixel(shape)) >
           mostOfClassic;
}

/** A file as libtiff sees it: with a place, where it writes. */
class Target
{
public:
    explicit Target(Output& into) : into(into) {}

    /** An exception must not pass through libtiff, which is told that nothing was written. */
    tmsize_t Write(const char* data, std::size_t size)
    {
        try {
            into.WriteAt(place, data, size);
        } catch (...) {
            failure = std::current_exception();
            return 0;
        }
        place += size;
        return tmsize_t(size);
    }

    toff_t MoveTo(toff_t offset, int whence)
    {
        place = whence == SEEK_SET   ? offset
                : whence == SEEK_CUR ? place + offset
                                     : into.Size() + offset;
        return place;
    }

    std::uint64_t Size() const { return into.Size(); }

    [[noreturn]] void Throw() const
    {
        if (failure)
            std::rethrow_exception(failure);
        throw RequestError(Reason::CannotRender, "libtiff does not write the picture");
    }

private:
    Output& into;
    std::uint64_t place = 0;
    std::exception_ptr failure;
};

Target& ToTarget(thandle_t handle)
{
    return *static_cast<Target*>(handle);
}

/** A file that libtiff writes, strip by strip. */
class TiffFile
{
public:
    TiffFile(Output& into, const PictureShape& shape) : shape(shape), target(into)
    {
        ::TIFFSetErrorHandler(nullptr); // else they would write to standard error
        ::TIFFSetWarningHandler(nullptr);
        tiff.reset(::TIFFClientOpen(
            "picture", CouldExceedClassic(shape) ? "wl8" : "wl", &target,
            [](thandle_t, void*, tmsize_t) { return tmsize_t(0); },
            [](thandle_t handle, void* data, tmsize_t size) {
                return ToTarget(handle).Write(static_cast<char*>(data), std::size_t(size));
            },
            [](thandle_t handle, toff_t offset, int whence) {
                return ToTarget(handle).MoveTo(offset, whence);
            },
            [](thandle_t) { return 0; },
            [](thandle_t handle) { return toff_t(ToTarget(handle).Size()); }, nullptr, nullptr));
        if (!tiff)
            target.Throw();
        SetTags();
        rowsToCome = shape.height;
        StartStrip();
    }

    void Add(const Rows& rows)
    {
        for (int row = 0; row < rows.count; ++row) {
            Copy(rows.first + row * rows.stride);
            if (place == strip.size())
                WriteStrip();
        }
    }

    void Finish()
    {
        if (::TIFFFlush(tiff.get()) == 0)
            target.Throw();
    }

private:
    void SetTags()
    {
        TIFF* const file = tiff.get();
        bool isDone = true;
        const auto set = [file, &isDone](int tag, auto value) {
            isDone = isDone && ::TIFFSetField(file, std::uint32_t(tag), value) != 0;
        };
        set(TIFFTAG_IMAGEWIDTH, shape.width);
        set(TIFFTAG_IMAGELENGTH, shape.height);
        set(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        set(TIFFTAG_COMPRESSION, COMPRESSION_LZW);
        set(TIFFTAG_PHOTOMETRIC, shape.IsGray() ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB);
        if (!shape.IsGray())
            set(TIFFTAG_SAMPLESPERPIXEL, BytesAPixel(shape));
        set(TIFFTAG_BITSPERSAMPLE, 8);
        set(TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
        SetResolution(set);
        rowsAStrip = int(std::max<std::size_t>(1, bytesAStrip / BytesOfRow()));
        set(TIFFTAG_ROWSPERSTRIP, rowsAStrip);
        if (!isDone)
            target.Throw();
    }

    /** By the centimetre where that is exact, else by the inch, in whole dots. */
    template <typename Set>
    void SetResolution(Set set) const
    {
        constexpr int centimetresPerMetre = 100;
        const int dotsPerMetre = shape.DotsPerMetre();
        const bool isExact = dotsPerMetre % centimetresPerMetre == 0;
        const double dots = isExact ? double(dotsPerMetre) / centimetresPerMetre
                                    : std::round(dotsPerMetre * metresPerInch);
        set(TIFFTAG_RESOLUTIONUNIT, isExact ? RESUNIT_CENTIMETER : RESUNIT_INCH);
        set(TIFFTAG_XRESOLUTION, dots);
        set(TIFFTAG_YRESOLUTION, dots);
    }

    void StartStrip()
    {
        const int rows = std::min(rowsAStrip, rowsToCome);
        strip.resize(std::size_t(rows) * BytesOfRow());
        rowsToCome -= rows;
        place = 0;
    }

    std::size_t BytesOfRow() const
    {
        return std::size_t(shape.width) * std::size_t(BytesAPixel(shape));
    }

    void Copy(const unsigned char* pixels)
    {
        const auto width = std::size_t(shape.width);
        if (shape.IsGray())
            std::copy_n(pixels, width, strip.data() + place);
        else
            CopyRgb(pixels, width, strip.data() + place);
        place += BytesOfRow();
    }

    void WriteStrip()
    {
        if (::TIFFWriteEncodedStrip(tiff.get(), strips++, strip.data(), tmsize_t(strip.size())) < 0)
            target.Throw();
        StartStrip();
    }

    const PictureShape& shape;
    Target target;
    std::unique_ptr<TIFF, void (*)(TIFF*)> tiff{nullptr, ::TIFFCleanup};
    int rowsAStrip = 0;
    std::vector<unsigned char> strip;
    std::size_t place = 0;
    tstrip_t strips = 0;
    /** Below the strip. */
    int rowsToCome = 0;
};

} // namespace

void WriteTiff(Output& into, const PictureShape& shape, const DrawRows& draw)
{
    TiffFile file(into, shape);
    ForEachPiece(shape, draw, [&file](int, const Rows& rows) { file.Add(rows); });
    file.Finish();
}

} // namespace Korvel::Worker
