#include "JpegWriter.h"

#include "RequestError.h"

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include <jpeglib.h>

namespace Korvel::Worker {

namespace {

constexpr std::size_t bufferSize = 64 << 10;

/** How JPEGs count dots. */
struct Density
{
    UINT8 unit;
    int dots;
};

/** By the inch or the centimetre, whichever is rounded less, within the 16 bits that there are. */
Density DensityOf(int dotsPerMetre)
{
    constexpr UINT8 anInch = 1;
    constexpr UINT8 aCentimetre = 2;
    constexpr int most = 65'535;
    constexpr int centimetresPerMetre = 100;
    constexpr double centimetresPerInch = 2.54;
    const double perCentimetre = double(dotsPerMetre) / centimetresPerMetre;
    const double perInch = perCentimetre * centimetresPerInch;
    const auto rest = [](double dots) {
        return std::abs(dots - std::round(dots));
    };
    if (perInch <= most && rest(perInch) < rest(perCentimetre) * centimetresPerInch)
        return {anInch, int(std::lround(perInch))};
    return {aCentimetre, int(std::min(double(most), std::floor(perCentimetre + 0.5)))};
}

/** A file that libjpeg writes. */
class JpegFile
{
public:
    explicit JpegFile(Output& into) : into(into), buffer(bufferSize)
    {
        state.err = ::jpeg_std_error(&errors);
        state.client_data = this;
        errors.error_exit = [](j_common_ptr info) {
            Leave(info);
        };
        errors.output_message = [](j_common_ptr) {
        };
        target.init_destination = [](j_compress_ptr info) {
            Of(info).Restart();
        };
        target.empty_output_buffer = [](j_compress_ptr info) {
            Of(info).Flush(bufferSize);
            return boolean(TRUE);
        };
        target.term_destination = [](j_compress_ptr info) {
            Of(info).Flush(bufferSize - Of(info).target.free_in_buffer);
        };
        Do([this] { jpeg_create_compress(&state); });
        state.dest = &target;
    }
    ~JpegFile() { ::jpeg_destroy_compress(&state); }

    void Start(const PictureShape& shape, int quality)
    {
        state.image_width = JDIMENSION(shape.width);
        state.image_height = JDIMENSION(shape.height);
        state.input_components = shape.IsGray() ? 1 : 4;
        state.in_color_space = shape.IsGray() ? JCS_GRAYSCALE : JCS_EXT_BGRX;
        const Density density = DensityOf(shape.DotsPerMetre());
        Do([&] {
            ::jpeg_set_defaults(&state);
            state.density_unit = density.unit;
            state.X_density = state.Y_density = UINT16(density.dots);
            ::jpeg_set_quality(&state, quality, TRUE);
            ::jpeg_start_compress(&state, TRUE);
        });
    }

    void Write(const Rows& rows)
    {
        Do([&] {
            for (int row = 0; row < rows.count; ++row) {
                auto* line = const_cast<JSAMPROW>(rows.first + row * rows.stride);
                ::jpeg_write_scanlines(&state, &line, 1);
            }
        });
    }

    void Finish()
    {
        Do([this] { ::jpeg_finish_compress(&state); });
    }

private:
    template <typename Info>
    static JpegFile& Of(Info* info)
    {
        return *static_cast<JpegFile*>(info->client_data);
    }

    /** Calls libjpeg, which tells of failures by a jump. */
    template <typename Call>
    void Do(const Call& call)
    {
        if (setjmp(failed) == 0)
            call();
        else
            Throw();
    }

    [[noreturn]] void Throw()
    {
        if (failure)
            std::rethrow_exception(failure);
        char message[JMSG_LENGTH_MAX];
        errors.format_message(reinterpret_cast<j_common_ptr>(&state), message);
        throw RequestError(Reason::CannotRender, "libjpeg: " + std::string(message));
    }

    [[noreturn]] static void Leave(j_common_ptr info) { std::longjmp(Of(info).failed, 1); }

    void Restart()
    {
        target.next_output_byte = buffer.data();
        target.free_in_buffer = buffer.size();
    }

    /** An exception must not pass through libjpeg. */
    void Flush(std::size_t size)
    {
        try {
            into.Write(reinterpret_cast<const char*>(buffer.data()), size);
        } catch (...) {
            failure = std::current_exception();
        }
        if (failure)
            std::longjmp(failed, 1);
        Restart();
    }

    Output& into;
    std::vector<JOCTET> buffer;
    jpeg_compress_struct state = {};
    jpeg_error_mgr errors = {};
    jpeg_destination_mgr target = {};
    std::jmp_buf failed;
    std::exception_ptr failure;
};

} // namespace

void WriteJpeg(Output& into, const PictureShape& shape, int quality, const DrawRows& draw)
{
    shape.RequireSides("JPEG", JPEG_MAX_DIMENSION);
    JpegFile file(into);
    file.Start(shape, quality);
    ForEachPiece(shape, draw, [&file](int, const Rows& rows) { file.Write(rows); });
    file.Finish();
}

} // namespace Korvel::Worker
