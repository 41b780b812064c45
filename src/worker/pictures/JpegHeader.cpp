#include "JpegHeader.h"

#include <csetjmp>
#include <cstddef>
#include <cstdio>
#include <string>

#include <QtEndian>

#include <jpeglib.h>

namespace Korvel::Worker {

namespace {

constexpr int markerOfExif = JPEG_APP0 + 1;
constexpr int markerOfProfile = JPEG_APP0 + 2;
constexpr unsigned longestMarker = 0xffff;

/** A header that libjpeg reads. */
class HeaderReader
{
public:
    HeaderReader()
    {
        state.err = ::jpeg_std_error(&errors);
        state.client_data = this;
        errors.error_exit = [](j_common_ptr info) {
            std::longjmp(static_cast<HeaderReader*>(info->client_data)->failed, 1);
        };
        errors.output_message = [](j_common_ptr) {
        };
    }

    ~HeaderReader() { ::jpeg_destroy_decompress(&state); }

    /** Whether the bytes begin as a JPEG does. */
    bool Read(std::string_view jpeg)
    {
        if (setjmp(failed) != 0) // NOLINT(cert-err52-cpp): libjpeg leaves in no other way
            return false;
        ::jpeg_create_decompress(&state);
        ::jpeg_save_markers(&state, markerOfExif, longestMarker);
        ::jpeg_save_markers(&state, markerOfProfile, longestMarker);
        ::jpeg_mem_src(&state, reinterpret_cast<const unsigned char*>(jpeg.data()), jpeg.size());
        return ::jpeg_read_header(&state, TRUE) == JPEG_HEADER_OK;
    }

    const jpeg_decompress_struct& State() const { return state; }

private:
    HeaderReader(const HeaderReader&) = delete;
    HeaderReader& operator=(const HeaderReader&) = delete;

    jpeg_decompress_struct state = {};
    jpeg_error_mgr errors = {};
    std::jmp_buf failed = {};
};

/** The whole numbers of Exif, in the order of bytes that it says; 0 beyond its end. */
class Exif
{
public:
    explicit Exif(std::string_view tiff) : tiff(tiff), isBig(tiff.substr(0, 2) == "MM") {}

    unsigned Short(std::size_t at) const
    {
        if (at + sizeof(quint16) > tiff.size())
            return 0;
        return isBig ? qFromBigEndian<quint16>(tiff.data() + at)
                     : qFromLittleEndian<quint16>(tiff.data() + at);
    }

    std::size_t Long(std::size_t at) const
    {
        return isBig ? (std::size_t(Short(at)) << 16) + Short(at + 2)
                     : (std::size_t(Short(at + 2)) << 16) + Short(at);
    }

private:
    const std::string_view tiff;
    const bool isBig;
};

/** Whether Exif has programs turn or mirror the picture. */
bool Turns(std::string_view tiff)
{
    constexpr std::size_t placeOfDirectory = 4;
    constexpr std::size_t sizeOfEntry = 12;
    constexpr std::size_t placeOfValue = 8;
    constexpr unsigned orientation = 0x112;
    const Exif exif(tiff);
    const std::size_t directory = exif.Long(placeOfDirectory);
    for (unsigned i = 0; i < exif.Short(directory); ++i) {
        const std::size_t entry = directory + 2 + i * sizeOfEntry;
        if (exif.Short(entry) == orientation && exif.Short(entry + placeOfValue) > 1)
            return true;
    }
    return false;
}

/** Whether a marker has programs show other pixels than those that are packed. */
bool ChangesPixels(const jpeg_marker_struct& marker)
{
    using namespace std::string_view_literals;
    constexpr std::string_view exif = "Exif\0\0"sv;
    constexpr std::string_view profile = "ICC_PROFILE\0"sv;
    const std::string_view data(reinterpret_cast<const char*>(marker.data), marker.data_length);
    if (marker.marker == markerOfProfile)
        return data.substr(0, profile.size()) == profile;
    return data.substr(0, exif.size()) == exif && Turns(data.substr(exif.size()));
}

bool IsOfPlainColors(const jpeg_decompress_struct& state)
{
    constexpr int bits = 8;
    const J_COLOR_SPACE colors = state.jpeg_color_space;
    const bool isKnown = colors == JCS_GRAYSCALE || colors == JCS_RGB || colors == JCS_YCbCr;
    return isKnown && state.data_precision == bits && state.arith_code == FALSE;
}

bool EndsAsJpeg(std::string_view bytes)
{
    constexpr std::string_view end = "\xff\xd9";
    return bytes.size() > end.size() && bytes.substr(bytes.size() - end.size()) == end;
}

} // namespace

std::optional<JpegHeader> ReadJpegHeader(std::string_view jpeg)
{
    HeaderReader reader;
    if (!EndsAsJpeg(jpeg) || !reader.Read(jpeg) || !IsOfPlainColors(reader.State()))
        return std::nullopt;
    const jpeg_decompress_struct& state = reader.State();
    for (auto* marker = state.marker_list; marker; marker = marker->next) {
        if (ChangesPixels(*marker))
            return std::nullopt;
    }
    return JpegHeader{int(state.image_width), int(state.image_height), state.num_components};
}

} // namespace Korvel::Worker
