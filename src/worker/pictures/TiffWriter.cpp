#include "TiffWriter.h"

#include "Pixels.h"
#include "RequestError.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <tiffio.h>

namespace Korvel::Worker {

namespace {

constexpr std::size_t bytesAStrip = 4 << 20;
constexpr std::uint64_t mostOfClassic = std::uint64_t(1) << 32;

int BytesAPixel(const PictureShape& shape)
{
    if (shape.IsTransparent())
        return 4;
    return shape.IsGray() ? 1 : 3;
}

std::size_t BytesOfRow(const PictureShape& shape)
{
    constexpr std::size_t bitsOfByte = 8;
    const auto width = std::size_t(shape.width);
    return shape.isBilevel ? (width + bitsOfByte - 1) / bitsOfByte
                           : width * std::size_t(BytesAPixel(shape));
}

/** How many times as large as its pixels a picture can be, packed as it is, at most. */
double MostGrowth(const PictureShape& shape)
{
    return shape.isBilevel ? 6 : 1.5;
}

/** A file as libtiff sees it: with a place, where it reads and writes. */
class Target
{
public:
    explicit Target(Output& into) : into(into) {}

    /** An exception must not pass through libtiff, which is told that nothing was written. */
    tmsize_t Write(const char* data, std::size_t size)
    {
        try {
            FillUpTo(place); // what a directory points to is written before it, and behind it
            into.WriteAt(place, data, size);
            if (isDirectory)
                directories[place].assign(data, size);
        } catch (...) {
            failure = std::current_exception();
            return 0;
        }
        place += size;
        return tmsize_t(size);
    }

    /** Reads of directories alone: libtiff looks for the end of the last one to append the next. */
    tmsize_t Read(char* data, std::size_t size)
    {
        const auto after = directories.upper_bound(place);
        if (after == directories.begin())
            return 0;
        const auto& [begin, bytes] = *std::prev(after);
        const std::uint64_t offset = place - begin;
        if (offset + size > bytes.size())
            return 0;
        std::copy_n(bytes.data() + offset, size, data);
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

    /** Remembers what is written from now on, if it is the directory of a picture. */
    void SetDirectory(bool isOne) { isDirectory = isOne; }

    [[noreturn]] void Throw() const
    {
        if (failure)
            std::rethrow_exception(failure);
        throw RequestError(Reason::CannotWrite, "libtiff does not write the picture");
    }

private:
    void FillUpTo(std::uint64_t end)
    {
        if (end <= into.Size())
            return;
        const std::string gap(std::size_t(end - into.Size()), '\0');
        into.Write(gap.data(), gap.size());
    }

    Output& into;
    std::uint64_t place = 0;
    std::exception_ptr failure;
    bool isDirectory = false;
    /** What the worker may not read from its file again, by where it was written. */
    std::map<std::uint64_t, std::string> directories;
};

Target& ToTarget(thandle_t handle)
{
    return *static_cast<Target*>(handle);
}

/** A picture as libtiff takes it, strip by strip. */
class TiffPicture
{
public:
    TiffPicture(TIFF* tiff, const Target& target, const PictureShape& shape)
        : tiff(tiff), target(target), shape(shape), length(BytesOfRow(shape))
    {
        SetTags();
        rowsToCome = shape.height;
        if (shape.isBilevel)
            values.resize(std::size_t(shape.width));
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

private:
    void SetTags()
    {
        bool isDone = true;
        const auto set = [this, &isDone](int tag, auto value) {
            isDone = isDone && ::TIFFSetField(tiff, std::uint32_t(tag), value) != 0;
        };
        set(TIFFTAG_IMAGEWIDTH, shape.width);
        set(TIFFTAG_IMAGELENGTH, shape.height);
        set(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        set(TIFFTAG_COMPRESSION, shape.isBilevel ? COMPRESSION_CCITTFAX4 : COMPRESSION_LZW);
        set(TIFFTAG_PHOTOMETRIC, Photometric());
        if (!shape.IsGray())
            set(TIFFTAG_SAMPLESPERPIXEL, BytesAPixel(shape));
        set(TIFFTAG_BITSPERSAMPLE, shape.isBilevel ? 1 : 8);
        set(TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
        SetResolution(set);
        rowsAStrip = int(std::max<std::size_t>(1, bytesAStrip / length));
        set(TIFFTAG_ROWSPERSTRIP, rowsAStrip);
        std::uint16_t opacity = EXTRASAMPLE_UNASSALPHA;
        if (shape.IsTransparent())
            isDone = isDone && ::TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &opacity) != 0;
        if (!isDone)
            target.Throw();
    }

    int Photometric() const
    {
        if (shape.isBilevel)
            return PHOTOMETRIC_MINISWHITE; // as faxes have it
        return shape.IsGray() ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB;
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
        strip.resize(std::size_t(rows) * length);
        rowsToCome -= rows;
        place = 0;
    }

    void Copy(const unsigned char* pixels)
    {
        const auto width = std::size_t(shape.width);
        unsigned char* const into = strip.data() + place;
        if (shape.isBilevel)
            CopyBits(pixels, into);
        else if (shape.IsGray())
            std::copy_n(pixels, width, into);
        else if (shape.IsTransparent())
            CopyRgba(pixels, width, into);
        else
            CopyRgb(pixels, width, into);
        place += length;
    }

    /** A bit is set where it is black. */
    void CopyBits(const unsigned char* pixels, unsigned char* into)
    {
        std::transform(pixels, pixels + shape.width, values.begin(),
                       [](unsigned char gray) { return static_cast<unsigned char>(~gray); });
        PackBits(values.data(), values.size(), 1, into);
    }

    void WriteStrip()
    {
        if (::TIFFWriteEncodedStrip(tiff, strips++, strip.data(), tmsize_t(strip.size())) < 0)
            target.Throw();
        StartStrip();
    }

    TIFF* const tiff;
    const Target& target;
    const PictureShape& shape;
    const std::size_t length;
    int rowsAStrip = 0;
    std::vector<unsigned char> strip;
    std::vector<unsigned char> values;
    std::size_t place = 0;
    tstrip_t strips = 0;
    /** Below the strip. */
    int rowsToCome = 0;
};

} // namespace

struct TiffWriter::Impl
{
    Impl(Output& into, bool isBig) : target(into)
    {
        ::TIFFSetErrorHandler(nullptr); // else they would write to standard error
        ::TIFFSetWarningHandler(nullptr);
        tiff.reset(::TIFFClientOpen(
            "picture", isBig ? "wl8" : "wl", &target,
            [](thandle_t handle, void* data, tmsize_t size) {
                return ToTarget(handle).Read(static_cast<char*>(data), std::size_t(size));
            },
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
    }

    void WriteDirectory()
    {
        target.SetDirectory(true);
        if (::TIFFWriteDirectory(tiff.get()) == 0)
            target.Throw();
        target.SetDirectory(false);
    }

    Target target;
    std::unique_ptr<TIFF, void (*)(TIFF*)> tiff{nullptr, ::TIFFCleanup};
};

TiffWriter::TiffWriter(Output& into, bool isBig) : impl(new Impl(into, isBig)) {}

TiffWriter::~TiffWriter() = default;

void TiffWriter::Add(const PictureShape& shape, const DrawRows& draw)
{
    draw(0); // as libtiff does not go back to before a picture that it has begun
    isWhole = false;
    TiffPicture picture(impl->tiff.get(), impl->target, shape);
    ForEachPiece(shape, draw, [&picture](int, const Rows& rows) { picture.Add(rows); });
    impl->WriteDirectory();
    isWhole = true;
}

std::uint64_t TiffWriter::MostBytes(const PictureShape& shape)
{
    return std::uint64_t(double(BytesOfRow(shape)) * shape.height * MostGrowth(shape));
}

bool TiffWriter::WantsBig(std::uint64_t bytes)
{
    return bytes > mostOfClassic;
}

void WriteTiff(Output& into, const PictureShape& shape, const DrawRows& draw)
{
    TiffWriter(into, TiffWriter::WantsBig(TiffWriter::MostBytes(shape))).Add(shape, draw);
}

} // namespace Korvel::Worker
